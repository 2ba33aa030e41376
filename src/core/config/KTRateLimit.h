#pragma once

#include <chrono>

namespace quilt {

// A token bucket: up to `burst` events at once, then `perSecond` on average.
// Bounds what a page may make the app do (messages, windows) however fast
// it asks.
class KTRateLimit {
public:
    using Clock = std::chrono::steady_clock;

    KTRateLimit(double burst, double perSecond)
        : burst_(burst)
        , perSecond_(perSecond)
        , tokens_(burst)
    {
    }

    // True, taking a token, when the event may happen now.
    bool take(Clock::time_point now = Clock::now());

private:
    double burst_;
    double perSecond_;
    double tokens_;
    Clock::time_point last_{};
    bool started_ = false;
};

} // namespace quilt
