#include "tests/events/validation_outcome.h"

#include <limits>
#include <optional>

namespace events {

namespace {

BrowserActivityEvent eventAged(double seconds)
{
    BrowserActivityEvent event = support::validEvent();
    event.timestamp = support::after(support::sampleTime, -seconds);
    return event;
}

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();

} // namespace

TEST(ValidateEventTime, AcceptsAnEventOfExactlyTheMaximumAge)
{
    EXPECT_EQ(failureOf(eventAged(120.0)), std::nullopt);
}

TEST(ValidateEventTime, RefusesAnOlderEvent)
{
    EXPECT_EQ(failureOf(eventAged(120.001)), Case::timestampTooOld);
    EXPECT_EQ(failureOf(eventAged(86400.0)), Case::timestampTooOld);
    EXPECT_EQ(failureOf(eventAged(1e300)), Case::timestampTooOld);
}

TEST(ValidateEventTime, AcceptsAnEventExactlyTheSkewAhead)
{
    EXPECT_EQ(failureOf(eventAged(-30.0)), std::nullopt);
}

TEST(ValidateEventTime, RefusesAnEventFurtherAhead)
{
    EXPECT_EQ(failureOf(eventAged(-30.001)), Case::timestampTooFarInFuture);
    EXPECT_EQ(failureOf(eventAged(-31.0)), Case::timestampTooFarInFuture);
    EXPECT_EQ(failureOf(eventAged(-1e300)), Case::timestampTooFarInFuture);
}

TEST(ValidateEventTime, RefusesATimeStampThatIsNoInstant)
{
    for (const double seconds : { notANumber, infinity, -infinity })
        EXPECT_EQ(failureOf(eventAged(seconds)), Case::malformedPayload) << seconds;
}

TEST(ValidateEventTime, RefusesAClockThatShowsNoInstant)
{
    for (const double seconds : { notANumber, infinity, -infinity })
        EXPECT_EQ(failureOf(support::validEvent(), { seconds }), Case::malformedPayload) << seconds;
}

TEST(ValidateEventTime, RefusesTwoEqualInfinities)
{
    EXPECT_EQ(failureOf(eventAged(-infinity), { infinity }), Case::malformedPayload);
}

TEST(ValidateEventTime, TakesItsLimitsFromTheSettings)
{
    const ValidatorSettings settings { .maximumAge = 10.0, .maximumFutureSkew = 5.0 };
    const auto isAccepted = [&settings](double age) {
        return validate(eventAged(age), support::sampleTime, settings).has_value();
    };
    EXPECT_TRUE(isAccepted(10.0));
    EXPECT_FALSE(isAccepted(10.5));
    EXPECT_TRUE(isAccepted(-5.0));
    EXPECT_FALSE(isAccepted(-5.5));
}

TEST(ValidateEventTime, KeepsTheTimeStamp)
{
    const BrowserActivityEvent event = eventAged(119.75);
    EXPECT_EQ(accepted(event).timestamp, event.timestamp);
}

} // namespace events
