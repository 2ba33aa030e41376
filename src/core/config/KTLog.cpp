#include "core/config/KTLog.h"

#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace quilt {

namespace {
// Never destroyed, so lines logged during exit still have somewhere to go.
std::mutex& sinkMutex()
{
    static auto* m = new std::mutex();
    return *m;
}
KTLog::Sink& sinkRef()
{
    static auto* s = new KTLog::Sink();
    return *s;
}
} // namespace

void KTLog::line(std::string_view text)
{
    std::lock_guard lock(sinkMutex());
    if (auto& s = sinkRef()) {
        s(text);
        return;
    }
    std::string out(text);
    out.push_back('\n');
    std::fwrite(out.data(), 1, out.size(), stderr);
}

bool KTLog::debugEnabled()
{
    static const bool on = std::getenv("QUILT_DEBUG") != nullptr;
    return on;
}

void KTLog::debug(std::string_view text)
{
    if (debugEnabled())
        line(text);
}

void KTLog::setSink(Sink sink)
{
    std::lock_guard lock(sinkMutex());
    sinkRef() = std::move(sink);
}

} // namespace quilt
