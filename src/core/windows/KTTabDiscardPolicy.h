#pragma once

#include <optional>
#include <vector>

namespace quilt {

// Which background tabs give their page back. A tab not shown for a while
// is discarded: its page and web view go, its address, title, icon and
// scroll position stay, and it loads again when selected. The shown tab and
// tabs that are busy (loading, playing sound, reloading on a timer, feeding
// the badge) are kept.
class KTTabDiscardPolicy {
public:
    using Id = int;
    static constexpr double kDiscardAfterSeconds = 30 * 60;

    struct Tab {
        Id id = 0;
        double lastShown = 0; // seconds on a monotonic clock
        bool selected = false;
        bool busy = false;
        bool discarded = false;
    };

    explicit KTTabDiscardPolicy(double afterSeconds = kDiscardAfterSeconds)
        : after_(afterSeconds)
    {
    }

    // The tabs to discard at `now`.
    std::vector<Id> due(const std::vector<Tab>& tabs, double now) const;
    // Seconds from `now` until the next tab can be due (a busy tab is looked
    // at again after a full period); none when no tab can be. The caller
    // arms one timer for it, so an idle window wakes for nothing else.
    std::optional<double> nextCheck(const std::vector<Tab>& tabs, double now) const;

private:
    static bool candidate(const Tab& t) { return !t.selected && !t.discarded; }
    double after_;
};

} // namespace quilt
