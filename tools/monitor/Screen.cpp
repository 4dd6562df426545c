#include "Screen.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sys/mman.h>
#include <system_error>
#include <unistd.h>

#define NCURSES_NOMACROS
#include <curses.h>

#include "Terminal.h"

namespace monitor {

namespace {

enum Pair : short { kGreen = 1, kYellow, kRed };

// --- What a terminal can ---------------------------------------------------------------------------------

/// Without the pauses that old terminals need.
std::string withoutPadding(const std::string& text) {
    std::string bytes;
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text.compare(at, 2, "$<") != 0) {
            bytes += text[at];
            continue;
        }
        at = text.find('>', at);
        if (at == std::string::npos)
            break;
    }
    return bytes;
}

std::string ability(const char* name) {
    const char* const text = tigetstr(name);
    const bool isNone = text == nullptr || text == reinterpret_cast<const char*>(-1);
    return isNone ? "" : withoutPadding(text);
}

/// Whatever the terminal's size: it goes no further than it can.
std::string toLastRow() {
    constexpr int kBelowAll = 998;
    return withoutPadding(tiparm(tigetstr("cup"), kBelowAll, 0));
}

bool wantsColours() {
    const char* const no = std::getenv("NO_COLOR");
    return (no == nullptr || *no == '\0') && has_colors();
}

/// The signals are others' business.
class KeptSignals {
public:
    KeptSignals() {
        for (std::size_t i = 0; i < kept_.size(); ++i)
            sigaction(kSignals[i], nullptr, &kept_[i]);
    }
    ~KeptSignals() {
        for (std::size_t i = 0; i < kept_.size(); ++i)
            sigaction(kSignals[i], &kept_[i], nullptr);
    }
    KeptSignals(const KeptSignals&) = delete;
    KeptSignals& operator=(const KeptSignals&) = delete;

private:
    static constexpr std::array<int, 5> kSignals = {SIGINT, SIGTERM, SIGTSTP, SIGWINCH, SIGQUIT};
    std::array<struct sigaction, kSignals.size()> kept_ = {};
};

/// A variable of the environment, for a while.
class Variable {
public:
    Variable(const char* name, std::size_t value) : name_(name) {
        if (const char* const former = std::getenv(name))
            former_ = former;
        setenv(name, std::to_string(value).c_str(), 1);
    }
    ~Variable() {
        if (former_)
            setenv(name_, former_->c_str(), 1);
        else
            unsetenv(name_);
    }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    const char* name_;
    std::optional<std::string> former_;
};

/// The size counts from the first byte on, which lets all rows scroll. The terminal's description would tell
/// of another one, or, as the Linux console's, of none.
SCREEN* newScreen(std::FILE* output, Size size) {
    const Variable rows("LINES", size.rows);
    const Variable columns("COLUMNS", size.columns);
    return newterm(nullptr, output, stdin);
}

std::FILE* memoryFile() {
    const int descriptor = memfd_create("screen", MFD_CLOEXEC);
    std::FILE* const file = descriptor < 0 ? std::tmpfile() : fdopen(descriptor, "w+");
    if (file == nullptr)
        throw std::system_error(errno, std::generic_category(), "memory for the screen");
    return file;
}

std::string takeAll(std::FILE* file) {
    const int descriptor = fileno(file);
    std::string bytes(static_cast<std::size_t>(lseek(descriptor, 0, SEEK_CUR)), '\0');
    const ssize_t count = pread(descriptor, bytes.data(), bytes.size(), 0);
    bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
    lseek(descriptor, 0, SEEK_SET);
    static_cast<void>(!ftruncate(descriptor, 0));
    return bytes;
}

} // namespace

class Screen::Parts {
public:
    explicit Parts(Size size) : output_(memoryFile()) {
        const KeptSignals kept;
        screen_ = newScreen(output_, size);
        if (screen_ == nullptr || ability("cup").empty())
            throw NoTerminal("TERM names no terminal that can place its cursor");
        typeahead(-1);
        curs_set(0);
        hasColours_ = wantsColours();
        if (hasColours_)
            makePairs();
    }

    ~Parts() {
        const KeptSignals kept;
        if (screen_ != nullptr) {
            endwin();
            delscreen(screen_);
        }
        std::fclose(output_);
    }
    Parts(const Parts&) = delete;
    Parts& operator=(const Parts&) = delete;

    void draw(const std::vector<Row>& rows) {
        erase();
        for (std::size_t i = 0; i < rows.size(); ++i) {
            move(static_cast<int>(i), 0);
            for (const Span& span : rows[i]) {
                attrset(attributesOf(span.style));
                addstr(span.text.c_str());
            }
        }
        attrset(A_NORMAL);
        refresh();
    }

    std::string written() { return takeAll(output_); }

private:
    static void makePairs() {
        start_color();
        use_default_colors();
        init_pair(kGreen, COLOR_GREEN, -1);
        init_pair(kYellow, COLOR_YELLOW, -1);
        init_pair(kRed, COLOR_RED, -1);
    }

    int attributesOf(Style style) const {
        const auto coloured = [this](short pair, attr_t other) {
            return hasColours_ ? COLOR_PAIR(pair) : static_cast<int>(other);
        };
        switch (style) {
        case Style::Title:
            return static_cast<int>(A_REVERSE);
        case Style::Label:
        case Style::Key:
            return static_cast<int>(A_BOLD);
        case Style::Good:
            return coloured(kGreen, A_NORMAL);
        case Style::Warning:
            return coloured(kYellow, A_UNDERLINE);
        case Style::Bad:
            return coloured(kRed, A_NORMAL) | static_cast<int>(A_BOLD);
        case Style::Estimate:
        case Style::Plain:
            break;
        }
        return static_cast<int>(A_NORMAL);
    }

    std::FILE* output_;
    SCREEN* screen_ = nullptr;
    bool hasColours_ = false;
};

Screen::Screen(Size size) : parts_(std::make_unique<Parts>(size)) {}
Screen::~Screen() = default;

std::string Screen::enter() const { return ability("smcup") + ability("civis"); }

// Where a terminal has one screen alone, the shell goes on below the view.
std::string Screen::leave() const {
    const std::string back = ability("rmcup");
    return ability("sgr0") + ability("op") + toLastRow() + ability("el") + ability("cnorm") + back +
           (back.empty() ? "\r\n" : "");
}

void Screen::resize(Size size) { resizeterm(static_cast<int>(size.rows), static_cast<int>(size.columns)); }

void Screen::forget() { clearok(curscr, TRUE); }

std::string Screen::show(const std::vector<Row>& rows) {
    parts_->draw(rows);
    return parts_->written();
}

} // namespace monitor
