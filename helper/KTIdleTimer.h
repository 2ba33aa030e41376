#pragma once

#include "core/config/KTSignal.h"

#include <functional>

namespace quilt {

// Ends the helper after a quiet spell: `onIdle` runs once nothing has held
// the timer for `seconds` (requests under way and notifications still on
// screen hold it). The spell starts at construction.
class KTIdleTimer {
public:
    static constexpr unsigned kDefaultSeconds = 60;

    KTIdleTimer(unsigned seconds, std::function<void()> onIdle);

    // QUILT_HELPER_IDLE_SECONDS when it is a positive number, else a minute.
    static unsigned secondsFromEnvironment();

    void hold();
    void release();
    unsigned holds() const { return holds_; }

private:
    void restart();

    unsigned seconds_;
    std::function<void()> onIdle_;
    unsigned holds_ = 0;
    KTSource timer_;
};

} // namespace quilt
