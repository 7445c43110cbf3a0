// Arithmetic between the fields of a timedelta and ticks.
#include "convert/timespan_arg_builder.h"

#include <cassert>

#include "convert/datetime_arg_builder.h"

namespace {

constexpr long kSecondsPerDay = 86'400;
constexpr long kMicrosecondsPerSecond = 1'000'000;

}  // namespace

void TimeSpanArgBuilder::normalize() {
    ++days;
    const long rest = seconds * kMicrosecondsPerSecond + microseconds - kSecondsPerDay * kMicrosecondsPerSecond;
    seconds = static_cast<int>(rest / kMicrosecondsPerSecond);
    microseconds = static_cast<int>(rest % kMicrosecondsPerSecond);
}

bool TimeSpanArgBuilder::is_overflow(long seconds, long microseconds) {
    // 64 bits of ticks end at 922337203685.4775807 seconds. The second before the last is limited to the same fraction.
    constexpr long kLastSecond = 922'337'203'685;
    constexpr long kLastMicrosecond = 477'580;
    if (seconds < -kLastSecond || seconds > kLastSecond) {
        return true;
    }
    if (seconds > -kLastSecond + 1 && seconds < kLastSecond - 1) {
        return false;
    }
    return microseconds < -kLastMicrosecond || microseconds > kLastMicrosecond;
}

bool TimeSpanArgBuilder::to_ticks(long& out) {
    assert(seconds >= 0 && microseconds >= 0);
    if (days < 0) {
        normalize();
    }
    const long all_seconds = days * kSecondsPerDay + seconds;
    if (is_overflow(all_seconds, microseconds)) {
        return false;
    }
    out = (all_seconds * kMicrosecondsPerSecond + microseconds) * ClrTicks::kMicrosecond;
    return true;
}

bool TimeSpanArgBuilder::from_ticks(long ticks) {
    days = static_cast<int>(ticks / ClrTicks::kDay);
    seconds = static_cast<int>(ticks / ClrTicks::kSecond % kSecondsPerDay);
    microseconds = static_cast<int>(ticks / ClrTicks::kMicrosecond % kMicrosecondsPerSecond);
    return true;
}
