#ifndef JOURNAL_H
#define JOURNAL_H

#include <functional>
#include <string>
#include <vector>

using Lines = std::vector<std::string>;

/// Everything that the library did to the outside, one line each, in order. README.md lists the forms.
class Journal {
public:
    void add(const std::string& line);

    /// Runs at each line, on the thread that does what it tells and before it is done.
    std::function<void(const std::string& line)> atEachLine;

    Lines lines() const;
    /// The lines so far, which are forgotten.
    Lines take();
    void clear();

    /// The lines that begin with one of `beginnings`.
    Lines only(const Lines& beginnings) const;
    std::size_t count(const std::string& beginning) const { return only({beginning}).size(); }

private:
    Lines lines_;
};

/// One call of `Logging::Message`.
struct LogLine {
    int level;
    std::string source;
    int line;
    std::string text;
};

/// The log lines so far.
class LogLines {
public:
    void add(const LogLine& line);
    void clear();

    std::vector<LogLine> all() const;
    /// As "3 text": level and text.
    Lines texts() const;
    /// How many lines of this level and text there were.
    int count(int level, const std::string& text) const;

private:
    std::vector<LogLine> lines_;
};

#endif
