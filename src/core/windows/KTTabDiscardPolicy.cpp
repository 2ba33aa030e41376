#include "core/windows/KTTabDiscardPolicy.h"

#include <algorithm>

namespace quilt {

std::vector<KTTabDiscardPolicy::Id> KTTabDiscardPolicy::due(const std::vector<Tab>& tabs, double now) const
{
    std::vector<Id> out;
    for (const Tab& t : tabs)
        if (candidate(t) && !t.busy && now - t.lastShown >= after_)
            out.push_back(t.id);
    return out;
}

std::optional<double> KTTabDiscardPolicy::nextCheck(const std::vector<Tab>& tabs, double now) const
{
    std::optional<double> next;
    for (const Tab& t : tabs) {
        if (!candidate(t))
            continue;
        double wait = t.busy ? after_ : std::max(0.0, t.lastShown + after_ - now);
        next = next ? std::min(*next, wait) : wait;
    }
    return next;
}

} // namespace quilt
