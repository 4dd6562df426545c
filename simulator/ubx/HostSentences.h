#ifndef HOSTSENTENCES_H
#define HOSTSENTENCES_H

#include <optional>
#include <string>

/// NMEA sentences among what the host writes: a daemon that looks for a receiver tries those of many makers.

namespace simulator {

class HostSentences {
public:
    /// The next byte; the sentence, without its line end, that ends with it.
    std::optional<std::string> feed(char byte);
    void clear() { line_.clear(); }

private:
    std::string line_; ///< from its '$' on; empty while there is none
};

/// The warning that an M8 sends for a sentence that it can't use: "NMEA unknown msg" and, for another
/// maker's, "PCAS inv format" were seen. None for a damaged sentence and for those that it has.
std::optional<std::string> complaintAbout(const std::string& sentence);

} // namespace simulator

#endif
