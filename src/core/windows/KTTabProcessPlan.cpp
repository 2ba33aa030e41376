#include "core/windows/KTTabProcessPlan.h"

#include <algorithm>
#include <cstdlib>

namespace quilt {

KTTabProcessPlan::KTTabProcessPlan(size_t tabsPerProcess)
    : tabsPerProcess_(std::max<size_t>(tabsPerProcess, 1))
{
}

size_t KTTabProcessPlan::tabsPerProcessFromEnvironment(const char* value)
{
    if (!value || !*value)
        return kTabsPerProcess;
    char* end = nullptr;
    long n = std::strtol(value, &end, 10);
    if (*end != '\0' || n < 1 || n > 100)
        return kTabsPerProcess;
    return static_cast<size_t>(n);
}

const std::vector<KTTabProcessPlan::Id>* KTTabProcessPlan::fullestWithRoom() const
{
    // Tabs pack into as few processes as the cap allows, and a process
    // emptied by closing tabs is not refilled while another has room.
    const std::vector<Id>* best = nullptr;
    for (const auto& group : groups_)
        if (group.size() < tabsPerProcess_ && (!best || group.size() > best->size()))
            best = &group;
    return best;
}

std::optional<KTTabProcessPlan::Id> KTTabProcessPlan::nextPeer() const
{
    const std::vector<Id>* best = fullestWithRoom();
    return best ? std::optional<Id>(best->front()) : std::nullopt;
}

std::optional<KTTabProcessPlan::Id> KTTabProcessPlan::join(Id id)
{
    if (!sharing(id).empty())
        return std::nullopt;
    auto* best = const_cast<std::vector<Id>*>(fullestWithRoom());
    if (!best) {
        groups_.push_back({id});
        return std::nullopt;
    }
    Id peer = best->front();
    best->push_back(id);
    return peer;
}

void KTTabProcessPlan::leave(Id id)
{
    for (auto it = groups_.begin(); it != groups_.end(); ++it) {
        auto found = std::find(it->begin(), it->end(), id);
        if (found == it->end())
            continue;
        it->erase(found);
        if (it->empty())
            groups_.erase(it);
        return;
    }
}

std::vector<KTTabProcessPlan::Id> KTTabProcessPlan::sharing(Id id) const
{
    for (const auto& group : groups_)
        if (std::find(group.begin(), group.end(), id) != group.end())
            return group;
    return {};
}

std::string KTTabProcessPlan::stateString() const
{
    std::string out;
    for (const auto& group : groups_) {
        if (!out.empty())
            out += " | ";
        for (size_t i = 0; i < group.size(); ++i)
            out += (i ? " " : "") + std::to_string(group[i]);
    }
    return out;
}

} // namespace quilt
