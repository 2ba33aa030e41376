#pragma once

#include "core/config/KTRateLimit.h"

#include <chrono>

namespace quilt {

// Keeps a page that posts notifications in a loop from burying the desktop
// in them: a burst of kBurst goes through at once, then one per kInterval.
// What does not fit is dropped, never queued.
class KTNotificationThrottle {
public:
    using Clock = KTRateLimit::Clock;
    static constexpr int kBurst = 10;
    static constexpr std::chrono::milliseconds kInterval {1000};

    // True when one more notification may go now (and counts it).
    bool allow(Clock::time_point now = Clock::now()) { return limit_.take(now); }

private:
    KTRateLimit limit_ {kBurst, 1.0 / std::chrono::duration<double>(kInterval).count()};
};

} // namespace quilt
