#include "Journal.h"

#include <algorithm>

#include "Unobserved.h"

std::mutex& GroundLock::mutex() {
    static std::mutex* const only = new std::mutex; // outlives every thread
    return *only;
}

void Journal::add(const std::string& line) {
    if (atEachLine)
        atEachLine(line);
    const GroundLock lock;
    lines_.push_back(line);
}

Lines Journal::lines() const {
    const GroundLock lock;
    return lines_;
}

Lines Journal::take() {
    const GroundLock lock;
    Lines taken;
    taken.swap(lines_);
    return taken;
}

void Journal::clear() { take(); }

Lines Journal::only(const Lines& beginnings) const {
    const auto begins = [&](const std::string& line) {
        return std::any_of(beginnings.begin(), beginnings.end(),
                           [&](const std::string& b) { return line.compare(0, b.size(), b) == 0; });
    };
    Lines chosen;
    for (const std::string& line : lines())
        if (begins(line))
            chosen.push_back(line);
    return chosen;
}

void LogLines::add(const LogLine& line) {
    const GroundLock lock;
    lines_.push_back(line);
}

void LogLines::clear() {
    const GroundLock lock;
    lines_.clear();
}

std::vector<LogLine> LogLines::all() const {
    const GroundLock lock;
    return lines_;
}

Lines LogLines::texts() const {
    Lines texts;
    for (const LogLine& line : all())
        texts.push_back(std::to_string(line.level) + " " + line.text);
    return texts;
}

int LogLines::count(int level, const std::string& text) const {
    const std::vector<LogLine> lines = all();
    return static_cast<int>(std::count_if(lines.begin(), lines.end(), [&](const LogLine& line) {
        return line.level == level && line.text == text;
    }));
}
