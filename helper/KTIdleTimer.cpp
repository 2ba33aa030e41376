#include "KTIdleTimer.h"

#include <cstdlib>

namespace quilt {

KTIdleTimer::KTIdleTimer(unsigned seconds, std::function<void()> onIdle)
    : seconds_(seconds), onIdle_(std::move(onIdle))
{
    restart();
}

unsigned KTIdleTimer::secondsFromEnvironment()
{
    const char* env = std::getenv("QUILT_HELPER_IDLE_SECONDS");
    char* end = nullptr;
    const long value = env ? std::strtol(env, &end, 10) : 0;
    return env && *end == '\0' && value > 0 && value <= 86400 ? static_cast<unsigned>(value) : kDefaultSeconds;
}

void KTIdleTimer::hold()
{
    ++holds_;
    timer_.reset();
}

void KTIdleTimer::release()
{
    if (holds_ > 0 && --holds_ == 0)
        restart();
}

void KTIdleTimer::restart()
{
    timer_ = KTSource(g_timeout_add_seconds(
        seconds_,
        [](gpointer data) -> gboolean {
            auto* self = static_cast<KTIdleTimer*>(data);
            self->timer_.forget();
            self->onIdle_();
            return G_SOURCE_REMOVE;
        },
        this));
}

} // namespace quilt
