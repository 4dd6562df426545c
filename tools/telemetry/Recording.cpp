#include "Recording.h"

#include <utility>

#include "Json.h"

namespace telemetry {

namespace {

constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kMostDamage = 1000;

std::string at(const std::string& name, std::size_t line, const std::string& what) {
    return name + ":" + std::to_string(line) + ": " + what;
}

} // namespace

RecordingReader::RecordingReader(std::istream& input, std::string name)
    : input_(input), name_(std::move(name)) {
    std::string text;
    if (!std::getline(input_, text))
        throw NoRecording(
            at(name_, 1, "the file is empty; a recording begins with a line of the type \"start\""));
    ++line_;
    checkStart(text);
}

void RecordingReader::checkStart(const std::string& text) {
    try {
        first_ = fromJson(text);
    } catch (const NotTelemetry& error) {
        throw NoRecording(
            at(name_, 1, std::string("this is no recording of ruxogps-monitor: ") + error.what()));
    }
    const Start* const start = first_ ? std::get_if<Start>(&first_->content) : nullptr;
    if (start == nullptr)
        throw NoRecording(
            at(name_, 1, "this is no recording of ruxogps-monitor: it doesn't begin with a start"));
    if (start->version != kVersion)
        throw NoRecording(at(name_, 1,
                             "the recording has version " + std::to_string(start->version) +
                                 " of the format, and this program reads version " +
                                 std::to_string(kVersion)));
}

std::optional<Line> RecordingReader::next() {
    if (first_)
        return std::exchange(first_, std::nullopt);
    std::string text;
    while (std::getline(input_, text)) {
        ++line_;
        if (std::optional<Line> line = read(text))
            return line;
    }
    return std::nullopt;
}

/// Nothing for a line that tells nothing, and for one that can't be used.
std::optional<Line> RecordingReader::read(const std::string& text) {
    try {
        return text.empty() ? std::nullopt : fromJson(text);
    } catch (const NotTelemetry& error) {
        const bool isCut = input_.eof(); // getline met the end before a line feed
        noteDamage(isCut ? "the last line is cut" : error.what());
        return std::nullopt;
    }
}

void RecordingReader::noteDamage(const char* what) {
    if (damage_.size() < kMostDamage)
        damage_.push_back({line_, what});
    else
        ++furtherDamage_;
}

} // namespace telemetry
