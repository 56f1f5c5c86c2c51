// The times of events: as texts, and as any eight bytes taken for a time stamp.

#include "base/timestamp.h"
#include "fuzz/support/byte_source.h"
#include "fuzz/support/claims.h"
#include "fuzz/support/naive_time.h"

#include <cmath>
#include <cstring>

namespace {

void checkText(std::string_view text)
{
    const auto timestamp = base::parseISO8601(text);
    const auto milliseconds = fuzz::naiveMilliseconds(text);
    fuzz::requireFor(timestamp.has_value() == milliseconds.has_value(),
        "exactly the texts of the form are read", text);
    if (!timestamp)
        return;
    fuzz::requireFor(timestamp->secondsSince2001 == fuzz::naiveSecondsSince2001(*milliseconds),
        "the text is read as the instant that it names", text);
    const std::string written = base::formatISO8601(*timestamp);
    if (!fuzz::hasPlainDate(*milliseconds))
        return;
    fuzz::requireFor(written == fuzz::naiveTimeText(*milliseconds),
        "the instant is written in the one form of output", text);
    fuzz::requireFor(base::parseISO8601(written) == timestamp,
        "what was written is read as the same instant", text);
}

void checkBits(std::string_view bytes)
{
    base::Timestamp timestamp;
    if (bytes.size() != sizeof timestamp.secondsSince2001)
        return;
    std::memcpy(&timestamp.secondsSince2001, bytes.data(), bytes.size());
    const std::string written = base::formatISO8601(timestamp);
    fuzz::require(written.empty() == !std::isfinite(timestamp.secondsSince2001),
        "exactly the finite time stamps have a text");
    const double milliseconds
        = std::floor((timestamp.secondsSince2001 + 978307200.0) * 1000.0 + 0.5);
    constexpr double largestCount = 1e15;
    if (!(std::fabs(milliseconds) < largestCount)
        || !fuzz::hasPlainDate(static_cast<std::int64_t>(milliseconds)))
        return;
    fuzz::requireFor(written == fuzz::naiveTimeText(static_cast<std::int64_t>(milliseconds)),
        "the time stamp is rounded to the nearest millisecond", written);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    checkText(fuzz::textOf(data, size));
    checkBits(fuzz::textOf(data, size));
    return 0;
}
