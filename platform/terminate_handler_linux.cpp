// What the GNU library calls before a program that cannot go on is aborted. Its own handler writes
// to standard error, which is not the host's to write to, and brings along a seventh of the
// executable for it.

#include <cstdlib>

// NOLINTBEGIN(cert-dcl*,misc-use-internal-linkage,readability-identifier-naming):
// the library's names
namespace __gnu_cxx {

void __verbose_terminate_handler();

void __verbose_terminate_handler()
{
    std::abort();
}

} // namespace __gnu_cxx
// NOLINTEND(cert-dcl*,misc-use-internal-linkage,readability-identifier-naming)
