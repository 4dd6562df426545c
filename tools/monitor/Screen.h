#ifndef SCREEN_H
#define SCREEN_H

#include <memory>
#include <string>
#include <vector>

#include "Layout.h"

namespace monitor {

/// Turns rows into the bytes that a kind of terminal needs. The only one that knows ncurses, and it gets no
/// terminal to write to: the bytes go into memory, so that none of them can be waited for.
class Screen {
public:
    /// For the terminal that TERM names, of this size; throws NoTerminal.
    explicit Screen(Size size);
    ~Screen();
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;

    /// What takes the terminal, without the cursor, and what gives it back.
    std::string enter() const;
    std::string leave() const;

    void resize(Size size);

    /// All of the next rows are written anew.
    void forget();

    /// What is to be written so that the terminal shows these rows and no others.
    std::string show(const std::vector<Row>& rows);

private:
    class Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace monitor

#endif
