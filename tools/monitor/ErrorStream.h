#ifndef ERRORSTREAM_H
#define ERRORSTREAM_H

#include <deque>
#include <string>

namespace monitor {

/// Takes what the process and its children write to standard error, which would spoil a screen: the library's
/// log and the words of its commands. Nobody who writes there ever waits: what comes faster than it is read
/// is lost. One at a time.
class ErrorStream {
public:
    ErrorStream();  ///< throws std::system_error
    ~ErrorStream(); ///< as release()
    ErrorStream(const ErrorStream&) = delete;
    ErrorStream& operator=(const ErrorStream&) = delete;

    /// Reads what has come. Where standard error was no terminal it gets all of it, as before.
    void read();

    /// Gives standard error back.
    void release();

    /// Readable when there is something to read.
    int descriptor() const;

    /// The last lines, the oldest first.
    const std::deque<std::string>& lines() const { return lines_; }

    /// Gives standard error back, and what nobody has read yet. May be called from a signal's handler.
    static void releaseAtOnce();

private:
    void take(const std::string& bytes);

    std::deque<std::string> lines_;
    std::string begun_;
    bool copies_; ///< standard error was a file or a pipe
};

} // namespace monitor

#endif
