#include "Report.h"

#include <algorithm>
#include <cctype>
#include <iomanip>
#include <ostream>

#include <nlohmann/json.hpp>

namespace check {

namespace {

using Json = nlohmann::ordered_json; // members in the order in which they are documented

constexpr int kLevelWidth = 8;
constexpr int kCheckWidth = 16;
constexpr int kIndent = 2;

const char* nameOf(Level level) {
    switch (level) {
    case Level::Ok:
        return "ok";
    case Level::Warning:
        return "warning";
    case Level::Fault:
        break;
    }
    return "fault";
}

const char* nameOf(DatabaseState state) {
    switch (state) {
    case DatabaseState::Missing:
        return "missing";
    case DatabaseState::NotRegular:
        return "not regular";
    case DatabaseState::Unreadable:
        return "unreadable";
    case DatabaseState::TooShort:
        return "too short";
    case DatabaseState::Empty:
        return "empty";
    case DatabaseState::NoRecords:
        return "no records";
    case DatabaseState::Records:
        break;
    }
    return "records";
}

const char* nameOf(DatabaseChecksum verdict) {
    switch (verdict) {
    case DatabaseChecksum::Right:
        return "right";
    case DatabaseChecksum::Wrong:
        return "wrong";
    case DatabaseChecksum::Zero:
        return "zero";
    case DatabaseChecksum::CutShort:
        break;
    }
    return "cut short";
}

std::ptrdiff_t count(const Findings& findings, Level level) {
    return std::count_if(findings.begin(), findings.end(),
                         [level](const Finding& finding) { return finding.level == level; });
}

std::string counted(std::ptrdiff_t number, const std::string& word) {
    return std::to_string(number) + " " + word + (number == 1 ? "" : "s");
}

/// Names of programs may hold any bytes; none of them ends the line or moves a terminal's cursor.
std::string onOneLine(std::string text) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char byte) { return std::iscntrl(byte) != 0; }, '?');
    return text;
}

/// Names of files and programs may hold any bytes; what is no UTF-8 is replaced.
void print(const Json& object, std::ostream& out) {
    out << object.dump(kIndent, ' ', false, Json::error_handler_t::replace) << '\n';
}

Json jsonOf(const Finding& finding) {
    return {{"check", finding.check},
            {"level", nameOf(finding.level)},
            {"text", finding.text},
            {"mend", finding.mend}};
}

Json jsonOf(const DatabaseRecord& record) {
    return {{"offset", record.offset},  {"class", record.msgClass},  {"id", record.msgId},
            {"length", record.length},  {"arrived", record.arrived}, {"checksum", nameOf(record.verdict)},
            {"whole", record.isWhole()}};
}

Json begunWith(const std::string& version) { return {{"program", "ruxogps-check"}, {"version", version}}; }

} // namespace

// --- Findings -------------------------------------------------------------------------------------------

bool canRun(const Findings& findings) { return count(findings, Level::Fault) == 0; }

void printText(const Findings& findings, std::ostream& out) {
    for (const Finding& finding : findings) {
        out << std::left << std::setw(kLevelWidth) << nameOf(finding.level) << std::setw(kCheckWidth)
            << finding.check << onOneLine(finding.text);
        if (!finding.mend.empty())
            out << ". Mend: " << finding.mend;
        out << '\n';
    }
    out << (canRun(findings) ? "The service can run: " : "The service cannot run: ")
        << counted(count(findings, Level::Fault), "fault") << ", "
        << counted(count(findings, Level::Warning), "warning") << '\n';
}

void printJson(const Findings& findings, const std::string& version, std::ostream& out) {
    Json object = begunWith(version);
    object["can_run"] = canRun(findings);
    object["faults"] = count(findings, Level::Fault);
    object["warnings"] = count(findings, Level::Warning);
    object["findings"] = Json::array();
    for (const Finding& finding : findings)
        object["findings"].push_back(jsonOf(finding));
    print(object, out);
}

// --- Database -------------------------------------------------------------------------------------------

bool isWhole(const DatabaseReport& report) {
    if (report.state == DatabaseState::Empty)
        return true;
    return report.state == DatabaseState::Records && report.damaged() == 0 && report.trailerAgrees() &&
           report.bytesPassedOver == 0;
}

void printDatabaseJson(const DatabaseReport& report, const std::string& version, std::ostream& out) {
    Json object = begunWith(version);
    object["state"] = nameOf(report.state);
    object["size"] = report.size;
    object["modified"] = report.modifiedUtc;
    object["whole"] = report.whole();
    object["damaged"] = report.damaged();
    object["trailer"] = report.total;
    object["trailer_agrees"] = report.trailerAgrees();
    object["bytes_passed_over"] = report.bytesPassedOver;
    object["empty_frames"] = report.emptyFrames;
    object["records"] = Json::array();
    for (const DatabaseRecord& record : report.records)
        object["records"].push_back(jsonOf(record));
    print(object, out);
}

} // namespace check
