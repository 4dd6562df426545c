#ifndef STREAM_H
#define STREAM_H

#include <cstddef>
#include <memory>
#include <string>
#include <thread>

namespace monitor {

/// Writes to a descriptor that may not be read: on a thread of its own, from a store with room for so many
/// bytes. Who puts something in never waits.
class Stream {
public:
    static constexpr std::size_t kRoom = 1 << 20;

    /// The descriptor must stay open as long as the process.
    explicit Stream(int descriptor, std::size_t room = kRoom);
    ~Stream(); ///< leaves a write that waits for a reader alone
    Stream(const Stream&) = delete;
    Stream& operator=(const Stream&) = delete;

    /// False where there is no room: nothing of it will be written. Nor will it where writing has failed.
    /// With `leavesHalf` it takes no more than half of the room.
    bool put(const std::string& text, bool leavesHalf = false);

    int error() const; ///< the errno of the write that failed, and was the last; or 0

    /// Waits until all of it is written, but no longer than so many seconds. False where something was left.
    bool finish(double seconds);

private:
    struct Store;
    std::shared_ptr<Store> store_;
    std::thread writer_;
};

} // namespace monitor

#endif
