#include "core/services/KTNotificationThrottle.h"

#include <algorithm>

namespace quilt {

bool KTNotificationThrottle::allow(Clock::time_point now)
{
    if (started_ && now > last_) {
        const double earned = std::chrono::duration<double>(now - last_) / kInterval;
        tokens_ = std::min<double>(kBurst, tokens_ + earned);
    }
    if (!started_ || now > last_)
        last_ = now;
    started_ = true;
    if (tokens_ < 1.0)
        return false;
    tokens_ -= 1.0;
    return true;
}

} // namespace quilt
