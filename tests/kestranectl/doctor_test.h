#pragma once
// A user with a browser, a sound manifest and a running application, of which a test spoils one
// thing.

#include "kestranectl/doctor.h"
#include "tests/kestranectl/browser_test.h"

#include <string>
#include <string_view>
#include <vector>

namespace kestranectl {

class DoctorTest : public BrowserTest {
protected:
    DoctorTest();

    void examineAll(const DoctorOptions& options = {});

    /// Whether there is a finding of this verdict and subject whose text holds `part`.
    [[nodiscard]] bool found(
        Verdict verdict, std::string_view subject, std::string_view part = {}) const;

    /// All findings of a verdict, one line each.
    [[nodiscard]] std::string all(Verdict verdict) const;

    /// The advice of the first problem.
    [[nodiscard]] std::string advice() const;

    std::string bridgeRoot;
    HostProbe probe;
    bool isApplicationThere = true;
    std::vector<std::string> started; // hosts, in order
    DoctorProbes probes;
    std::vector<Finding> findings;
};

} // namespace kestranectl
