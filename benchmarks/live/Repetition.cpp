#include "Repetition.h"

#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace {

constexpr char kMgaAck[] = "\xB5\x62\x13\x60\x08";
constexpr std::size_t kMgaAckBytes = 16;

void makePause(double seconds) { usleep(static_cast<useconds_t>(std::lround(1e6 * seconds))); }

} // namespace

calls::Calls::const_iterator firstCall(calls::Calls::const_iterator begin, calls::Calls::const_iterator end,
                                       calls::Kind kind, const std::string& start) {
    return std::find_if(begin, end, [&](const calls::Call& call) {
        return call.kind == kind && call.text.compare(0, start.size(), start) == 0;
    });
}

std::size_t endOfMgaAck(const std::string& bytes) {
    const std::size_t begin = bytes.find(kMgaAck);
    return begin != std::string::npos && begin + kMgaAckBytes <= bytes.size() ? begin + kMgaAckBytes
                                                                              : std::string::npos;
}

double shellAndPauses(const calls::Calls& made) {
    double sum = 0;
    for (const calls::Call& call : made)
        if (call.kind == calls::Kind::Shell || call.kind == calls::Kind::Pause)
            sum += call.seconds();
    return sum;
}

double repeat(const calls::Calls& made, double step) {
    const double begin = calls::now();
    for (const calls::Call& call : made)
        if (call.kind == calls::Kind::Shell)
            static_cast<void>(system(call.text.c_str()));
        else if (call.kind == calls::Kind::Pause)
            makePause(step);
    return calls::now() - begin;
}

double meanPause(double seconds, int count) {
    const double begin = calls::now();
    for (int i = 0; i < count; ++i)
        makePause(seconds);
    return (calls::now() - begin) / count;
}
