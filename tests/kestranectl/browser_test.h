#pragma once
// A user with browsers, a host and nothing else, in a directory of the test's.

#include "kestranectl/browser_locations.h"
#include "kestranectl/console.h"
#include "kestranectl/manifest.h"
#include "tests/support/temporary_directory.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace kestranectl {

inline const std::string identifier = "abcdefghijklmnopabcdefghijklmnop";
inline const std::string otherIdentifier(32, 'p');

class BrowserTest : public testing::Test {
protected:
    BrowserTest();

    /// Gives the user profiles of the browser.
    void install(std::string_view browser) const;

    /// Where the browser's manifest belongs.
    [[nodiscard]] std::string manifest(std::string_view browser, Scope scope = Scope::user) const;

    /// Makes the browser's manifest, in a directory that may be missing.
    void leaveManifest(
        std::string_view browser, const std::string& text, Scope scope = Scope::user) const;

    /// The sound manifest of the host.
    [[nodiscard]] std::string soundManifest() const;

    support::TemporaryDirectory directory;
    std::string root; // the directory without links
    std::string host; // an executable in a place that stays
    std::map<std::string, std::string> variables;
    Surroundings surroundings;
    std::string output;
    std::string errors;
    Console console;
};

} // namespace kestranectl
