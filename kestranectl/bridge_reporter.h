#pragma once
// Tells what is different at each look at the bridge directory.

#include "kestranectl/bridge_changes.h"
#include "kestranectl/console.h"

namespace kestranectl {

struct ReportOptions {
    bool json = false; // objects instead of words
    bool tellsEventsThatGo = true;
};

class BridgeReporter {
public:
    BridgeReporter(
        const host::HostEnvironment& environment, ReportOptions options, const Console& console)
        : environment_(environment)
        , options_(options)
        , console_(console)
    {
    }

    /// Prints what is different from the look before, at the first look everything that is there.
    /// A bridge directory that is not there at the first look is told as gone.
    void look();

    /// What the last look found.
    [[nodiscard]] const BridgeSnapshot& snapshot() const { return snapshot_; }

private:
    void tell(const BridgeChange& change) const;

    const host::HostEnvironment& environment_;
    ReportOptions options_;
    const Console& console_;
    BridgeSnapshot snapshot_ {};
    bool hasLooked_ = false;
};

} // namespace kestranectl
