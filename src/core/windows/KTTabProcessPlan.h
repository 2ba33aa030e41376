#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// Which web process a window's tab runs in. Tabs of one window share web
// processes a few at a time: a process holds the engine's caches and
// libraries once for its tabs, and a page that crashes or hangs takes down
// only the tabs of its own process. The web layer carries this out with
// WebKit's related views.
class KTTabProcessPlan {
public:
    using Id = int;
    static constexpr size_t kTabsPerProcess = 5;

    // 1 gives every tab a process of its own; 0 is taken as 1.
    explicit KTTabProcessPlan(size_t tabsPerProcess = kTabsPerProcess);
    // QUILT_TABS_PER_PROCESS when set to a number from 1 to 100 (for
    // measuring), else kTabsPerProcess.
    static size_t tabsPerProcessFromEnvironment(const char* value);

    // The tab gets a page: the tab whose process it joins, or none for a
    // process of its own. A tab already placed keeps its place.
    std::optional<Id> join(Id id);
    // What join would answer for a tab not placed yet.
    std::optional<Id> nextPeer() const;
    // The tab's page is gone (closed, discarded, or its process ended).
    void leave(Id id);
    // The tabs sharing a process with `id`, itself included; empty when it
    // has no page.
    std::vector<Id> sharing(Id id) const;
    size_t processCount() const { return groups_.size(); }
    // "0 1 | 2" (processes separated by "|"): short test expectations.
    std::string stateString() const;

private:
    const std::vector<Id>* fullestWithRoom() const;

    size_t tabsPerProcess_;
    std::vector<std::vector<Id>> groups_;
};

} // namespace quilt
