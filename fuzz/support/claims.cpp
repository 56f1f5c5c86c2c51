#include "fuzz/support/claims.h"

#include <cstdio>
#include <cstdlib>

namespace fuzz {

namespace {

void print(std::string_view text)
{
    // The process ends here; nobody could be told that standard error is gone.
    static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

} // namespace

void require(bool holds, std::string_view claim)
{
    requireFor(holds, claim, {});
}

void requireFor(bool holds, std::string_view claim, std::string_view about)
{
    if (holds)
        return;
    print("Wrong: ");
    print(claim);
    if (!about.empty()) {
        print("\nAbout: ");
        print(about);
    }
    print("\n");
    std::abort();
}

} // namespace fuzz
