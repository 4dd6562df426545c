#ifndef FUZZINPUT_H
#define FUZZINPUT_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

/// Ends the run with a finding.
inline void demand(bool holds, const char* what) {
    if (holds)
        return;
    fprintf(stderr, "Does not hold: %s\n", what);
    abort();
}

/// The fuzzer's bytes, taken from the front; behind their end come zeros.
class FuzzInput {
public:
    FuzzInput(const uint8_t* data, std::size_t size) : bytes_(reinterpret_cast<const char*>(data), size) {}

    uint8_t byte() { return at_ < bytes_.size() ? static_cast<uint8_t>(bytes_[at_++]) : uint8_t{0}; }
    bool flag() { return (byte() & 1) != 0; }
    /// Lowest byte first.
    uint32_t number(unsigned int bytes) {
        uint32_t value = 0;
        for (unsigned int i = 0; i < bytes; ++i)
            value |= uint32_t{byte()} << (8 * i);
        return value;
    }
    bool isEmpty() const { return at_ >= bytes_.size(); }
    std::string bytes(std::size_t count) {
        const std::string taken = bytes_.substr(std::min(at_, bytes_.size()), count);
        at_ += taken.size();
        return taken;
    }
    /// Up to the next of `ends`, which stays.
    std::string until(const char* ends) {
        const std::size_t end = bytes_.find_first_of(ends, at_);
        return bytes(end == std::string::npos ? bytes_.size() : end - at_);
    }
    std::string rest() { return bytes(bytes_.size()); }

private:
    std::string bytes_;
    std::size_t at_ = 0;
};

#endif
