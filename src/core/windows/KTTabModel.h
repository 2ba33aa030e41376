#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The tabs of one window as data: their order, the selected one and the
// most-recently-selected order ("tabsOrder"), apart from the widget that
// shows them. The window's tab strip follows this model. State strings such
// as "0 1* 2" (ids in order, * = selected) make tests short.
class KTTabModel {
public:
    using Id = int;

    // Appends a tab (or inserts it at index; past the end appends) and
    // returns its id; the selection does not change.
    Id add(std::optional<size_t> at = std::nullopt);
    // Selecting moves the tab to the end of the recently-selected order.
    void select(Id id);
    // Past the end moves the tab to the end.
    void move(Id id, size_t index);
    // Closes a tab. With returnToPrior it leaves the recently-selected order
    // and the most recent remaining tab is selected. Without it (or when no
    // such tab is open) closing the selected tab selects its right-hand
    // neighbour, else its left; the closed tab then stays in the recent
    // order on purpose (ids no longer open are skipped when choosing).
    void close(Id id, bool returnToPrior);

    std::optional<Id> selected() const { return selected_; }
    const std::vector<Id>& order() const { return order_; }
    const std::vector<Id>& tabsOrder() const { return mru_; }
    size_t count() const { return order_.size(); }
    std::optional<size_t> indexOf(Id id) const;
    bool contains(Id id) const { return indexOf(id).has_value(); }

    std::string stateString() const;

private:
    std::optional<Id> priorTo(Id id);

    std::vector<Id> order_;
    std::vector<Id> mru_;
    std::optional<Id> selected_;
    Id next_ = 0;
};

} // namespace quilt
