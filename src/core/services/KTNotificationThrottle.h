#pragma once

#include <chrono>

namespace quilt {

// Keeps a page that posts notifications in a loop from burying the desktop
// in them: a burst of kBurst goes through at once, then one per kInterval.
// What does not fit is dropped, never queued.
class KTNotificationThrottle {
public:
    using Clock = std::chrono::steady_clock;
    static constexpr int kBurst = 10;
    static constexpr std::chrono::milliseconds kInterval {1000};

    // True when one more notification may go now (and counts it).
    bool allow(Clock::time_point now = Clock::now());

private:
    double tokens_ = kBurst;
    Clock::time_point last_ {};
    bool started_ = false;
};

} // namespace quilt
