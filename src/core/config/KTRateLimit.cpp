#include "core/config/KTRateLimit.h"

#include <algorithm>

namespace quilt {

bool KTRateLimit::take(Clock::time_point now)
{
    if (started_ && now > last_) {
        const double elapsed = std::chrono::duration<double>(now - last_).count();
        tokens_ = std::min(burst_, tokens_ + elapsed * perSecond_);
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
