#include "Stream.h"

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <string_view>
#include <unistd.h>
#include <utility>

namespace monitor {

/// Lives as long as the thread or the stream.
struct Stream::Store {
    const int descriptor;
    const std::size_t room;
    std::mutex mutex;
    std::condition_variable changed;
    std::string waiting; // guarded by the mutex, as what follows
    std::size_t inHand = 0;
    int error = 0;
    bool isClosed = false;

    bool isEmpty() const { return waiting.empty() && inHand == 0; }
};

namespace {

/// The errno, or 0.
int writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t written = write(descriptor, text.data(), text.size());
        if (written < 0 && errno != EINTR)
            return errno;
        text.remove_prefix(written > 0 ? static_cast<std::size_t>(written) : 0);
    }
    return 0;
}

/// A reader that has gone is told by the result of a write. Blocked here alone, SIGPIPE stays what it is in
/// the programs that the process starts; and the other signals go to the main thread.
void blockSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

template <class Store>
void writeFrom(Store& store) {
    std::unique_lock<std::mutex> hold(store.mutex);
    while (true) {
        store.changed.wait(hold, [&] { return !store.waiting.empty() || store.isClosed; });
        if (store.waiting.empty() || store.error != 0)
            return;
        const std::string batch = std::exchange(store.waiting, {});
        store.inHand = batch.size();
        hold.unlock();
        const int error = writeAll(store.descriptor, batch);
        hold.lock();
        store.inHand = 0;
        store.error = error;
        store.changed.notify_all();
    }
}

} // namespace

Stream::Stream(int descriptor, std::size_t room)
    : store_(new Store{descriptor, room, {}, {}, {}, 0, 0, false}), writer_([store = store_] {
          blockSignals();
          writeFrom(*store);
      }) {}

/// A thread that waits for a reader is left behind; another one would be in the way of the process's end.
Stream::~Stream() {
    std::unique_lock<std::mutex> hold(store_->mutex);
    store_->isClosed = true;
    const bool endsAtOnce = store_->isEmpty() || store_->error != 0;
    store_->changed.notify_all();
    hold.unlock();
    if (endsAtOnce)
        writer_.join();
    else
        writer_.detach();
}

bool Stream::put(const std::string& text, bool leavesHalf) {
    const std::lock_guard<std::mutex> hold(store_->mutex);
    const std::size_t room = leavesHalf ? store_->room / 2 : store_->room;
    if (store_->error != 0 || store_->waiting.size() + store_->inHand + text.size() > room)
        return false;
    store_->waiting += text;
    store_->changed.notify_all();
    return true;
}

int Stream::error() const {
    const std::lock_guard<std::mutex> hold(store_->mutex);
    return store_->error;
}

/// It looks again and again: this is once, at the end, and waits for somebody else's reading.
bool Stream::finish(double seconds) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    std::unique_lock<std::mutex> hold(store_->mutex);
    while (!store_->isEmpty() && store_->error == 0 && Clock::now() < end) {
        hold.unlock();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        hold.lock();
    }
    return store_->isEmpty() && store_->error == 0;
}

} // namespace monitor
