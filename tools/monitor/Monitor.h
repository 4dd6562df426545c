#ifndef MONITOR_H
#define MONITOR_H

#include <memory>
#include <vector>

#include "Output.h"
#include "Service.h"

namespace monitor {

using Outputs = std::vector<std::unique_ptr<Output>>;

/// Takes the service up, through its life and down, and tells the outputs.
class Monitor {
public:
    Monitor(Service& service, const Moments& moments, Outputs& outputs)
        : service_(service), moments_(moments), outputs_(outputs) {}

    /// Returns the exit status, when the service is down and everything is written. Where the library ends
    /// the process it doesn't return.
    int run();

private:
    bool shallEnd() const;
    void turn();
    void wait() const;
    void tell(const telemetry::Line& line);
    bool finish(int status);
    int status() const;
    bool isBroken() const;
    void tellOfProblems();
    [[noreturn]] void endWithTheLibrary();

    Service& service_;
    const Moments& moments_;
    Outputs& outputs_;
    std::vector<const Output*> told_; ///< of those that are broken
};

} // namespace monitor

#endif
