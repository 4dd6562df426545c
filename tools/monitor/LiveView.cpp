#include "LiveView.h"

#include <algorithm>
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <sys/epoll.h>
#include <unistd.h>
#include <utility>

#include "Text.h"

namespace monitor {

namespace {

constexpr std::size_t kMostDigits = 10;
constexpr std::size_t kLastLines = 10;

void watch(int epoll, int descriptor, std::uint32_t events, int operation) {
    epoll_event event = {};
    event.events = events;
    event.data.fd = descriptor;
    epoll_ctl(epoll, operation, descriptor, &event);
}

Page after(Page page) {
    return page >= Page::Log ? Page::Overview : static_cast<Page>(static_cast<int>(page) + 1);
}

/// The text's number of metres, or nothing where the odometer can't have it.
std::optional<std::uint32_t> metresOf(const std::string& digits) {
    const unsigned long long metres = std::strtoull(digits.c_str(), nullptr, 10);
    if (metres > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(metres);
}

bool isIgnored(int signal) {
    struct sigaction now = {};
    return sigaction(signal, nullptr, &now) == 0 && now.sa_handler == SIG_IGN;
}

/// Before the screen is made: it asks for the locale once.
Requests& withLocale(Requests& requests) {
    std::setlocale(LC_CTYPE, "");
    return requests;
}

} // namespace

// --- Life -----------------------------------------------------------------------------------------------

LiveView::LiveView(Requests& requests, Now now)
    : requests_(withLocale(requests)), now_(std::move(now)), screen_(terminal_.size()) {
    waiting_ = epoll_create1(EPOLL_CLOEXEC);
    watch(waiting_, terminal_.descriptor(), EPOLLIN, EPOLL_CTL_ADD);
    watch(waiting_, errors_.descriptor(), EPOLLIN, EPOLL_CTL_ADD);
    open();
}

LiveView::~LiveView() { close(waiting_); }

void LiveView::open() {
    terminal_.enter(screen_.enter(), screen_.leave());
    fit();
}

void LiveView::fit() {
    size_ = terminal_.size();
    screen_.resize(size_);
    screen_.forget();
}

void LiveView::giveBack() {
    Terminal::giveBack();
    ErrorStream::releaseAtOnce();
}

// Where something went wrong, the log that nobody could read on the screen says what.
bool LiveView::finish() {
    terminal_.leave();
    errors_.release();
    if (status_ == 0)
        return true;
    const auto& lines = errors_.lines();
    const std::size_t first = lines.size() > kLastLines ? lines.size() - kLastLines : 0;
    for (std::size_t i = first; i < lines.size(); ++i)
        std::fprintf(stderr, "%s\n", showable(lines[i]).c_str());
    return true;
}

// --- Lines and turns ------------------------------------------------------------------------------------

void LiveView::take(const telemetry::Line& line) {
    if (const auto* const end = std::get_if<telemetry::End>(&line.content))
        status_ = end->status;
    model_.take(line);
    if (std::holds_alternative<telemetry::Command>(line.content) && state_ == State::Going)
        answer();
}

// The overview shows what came of it.
void LiveView::answer() {
    if (view_.page != Page::Overview)
        view_.hint = model_.events().back().text;
}

void LiveView::takeProblem(const std::string& problem) {
    model_.takeProblem(problem);
    view_.hint = showable(problem);
}

void LiveView::turn() {
    if (terminal_.hasBeenStopped())
        open();
    if (terminal_.wasResized())
        fit();
    errors_.read();
    takeKeys();
    tellOfInterruption();
    draw();
}

void LiveView::draw() {
    model_.advance(now_());
    terminal_.flush();
    if (!terminal_.isPending()) {
        if (view_.page == Page::Log)
            view_.log = errors_.lines();
        terminal_.write(screen_.show(layOut(model_, view_, model_.last(), size_)));
    }
    waitForRoom(terminal_.isPending());
}

void LiveView::waitForRoom(bool isNeeded) {
    if (isNeeded == waitsForRoom_ || terminal_.isGone())
        return;
    waitsForRoom_ = isNeeded;
    watch(waiting_, terminal_.descriptor(), isNeeded ? EPOLLIN | EPOLLOUT : EPOLLIN, EPOLL_CTL_MOD);
}

// --- Keys -----------------------------------------------------------------------------------------------

void LiveView::takeKeys() {
    const std::string bytes = terminal_.read();
    for (const Key& key : bytes.empty() ? keys_.pause() : keys_.take(bytes))
        press(key);
    if (terminal_.isGone() && state_ == State::Going) {
        watch(waiting_, terminal_.descriptor(), 0, EPOLL_CTL_DEL);
        state_ = State::Done;
    }
}

void LiveView::press(const Key& key) {
    view_.hint.clear();
    if (key.kind == Key::Kind::Character && key.character == control('C'))
        return interrupt();
    if (view_.odometerInput)
        return pressInOdometer(key);
    switch (key.kind) {
    case Key::Kind::Character:
        return pressCharacter(key.character);
    case Key::Kind::Tab:
        return showPage(after(view_.page));
    case Key::Kind::Escape:
        return showPage(Page::Overview);
    default:
        return scroll(key.kind);
    }
}

void LiveView::pressCharacter(char character) {
    switch (character) {
    case 'o':
    case 't':
    case 'g':
        return pressRequest(character);
    case 'l':
        return showPage(view_.page == Page::Log ? Page::Overview : Page::Log);
    case '?':
        return showPage(view_.page == Page::Help ? Page::Overview : Page::Help);
    case 'q':
        return quit();
    case control('L'):
        return screen_.forget();
    case control('Z'):
        kill(0, SIGTSTP); // as the terminal would: the whole job
        return;
    default:
        view_.hint = "? shows the keys";
    }
}

void LiveView::pressRequest(char character) {
    if (!model_.isRunning())
        view_.hint = notNow();
    else if (character == 'o')
        view_.odometerInput = "";
    else if (character == 't')
        requests_.setTracking(!model_.settings().trackingEnabled);
    else
        requests_.setGeofences(!model_.settings().geofencesEnabled);
}

void LiveView::pressInOdometer(const Key& key) {
    std::string& digits = *view_.odometerInput;
    const bool isDigit = key.kind == Key::Kind::Character && key.character >= '0' && key.character <= '9';
    if (isDigit && digits.size() < kMostDigits)
        digits += key.character;
    else if (key.kind == Key::Kind::Backspace && !digits.empty())
        digits.pop_back();
    else if (key.kind == Key::Kind::Enter)
        setOdometer();
    else if (key.kind == Key::Kind::Escape)
        view_.odometerInput.reset();
}

void LiveView::setOdometer() {
    const std::string digits = *std::exchange(view_.odometerInput, std::nullopt);
    const auto metres = metresOf(digits);
    if (digits.empty())
        view_.hint = "the odometer stays as it is";
    else if (!metres)
        view_.hint = "the odometer takes at most 4294967295 metres";
    else if (!model_.isRunning())
        view_.hint = notNow();
    else
        requests_.setOdometer(*metres);
}

std::string LiveView::notNow() const {
    return std::string("not while the service is ") + telemetry::inWords(model_.step().step);
}

void LiveView::quit() {
    state_ = State::Done;
    view_.hint = "the service ends, then this view; Ctrl-C twice ends at once";
}

void LiveView::interrupt() {
    if (state_ == State::Done && isInterrupted_)
        endAtOnce();
    state_ = State::Done;
    isInterrupted_ = true;
    view_.hint = "the service ends, then this view; Ctrl-C ends at once";
}

// The signal makes the exit status. While the library's commands run the process ignores it.
void LiveView::tellOfInterruption() {
    if (!isInterrupted_ || isTold_ || isIgnored(SIGINT))
        return;
    isTold_ = true;
    raise(SIGINT);
}

void LiveView::endAtOnce() {
    giveBack();
    std::signal(SIGINT, SIG_DFL);
    raise(SIGINT);
}

void LiveView::showPage(Page page) {
    view_.page = page;
    view_.scrolledBack = 0;
}

void LiveView::scroll(Key::Kind kind) {
    const std::size_t page = size_.rows > 4 ? size_.rows - 4 : 1;
    const std::size_t step = kind == Key::Kind::PageUp || kind == Key::Kind::PageDown ? page : 1;
    const bool isBack = kind == Key::Kind::Up || kind == Key::Kind::PageUp;
    const bool isForward = kind == Key::Kind::Down || kind == Key::Kind::PageDown;
    const std::size_t most = farthestBack(model_, view_, size_);
    if (isBack)
        view_.scrolledBack = std::min(view_.scrolledBack + step, most);
    if (isForward)
        view_.scrolledBack -= std::min(view_.scrolledBack, step);
}

} // namespace monitor
