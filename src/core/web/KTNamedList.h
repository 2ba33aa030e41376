#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// Items with a public `std::string name`, unique, in the order they were
// added. Putting an item whose name is taken replaces that item where it
// stands, so a search in order finds the same item on every run.
template <class T>
class KTNamedList {
public:
    T* find(std::string_view name)
    {
        size_t at = indexOf(name);
        return at == npos ? nullptr : &items_[at];
    }
    const T* find(std::string_view name) const
    {
        size_t at = indexOf(name);
        return at == npos ? nullptr : &items_[at];
    }

    // Adds the item at the end, or replaces the one of the same name in place.
    T& put(T item)
    {
        if (T* existing = find(item.name))
            return *existing = std::move(item);
        return items_.emplace_back(std::move(item));
    }

    // Gives the item called oldName the new name where it stands; another
    // item already called newName is removed. False, with nothing changed,
    // when oldName is unknown or equal to newName.
    bool rename(std::string_view oldName, std::string newName)
    {
        size_t at = indexOf(oldName);
        if (at == npos || oldName == newName)
            return false;
        // Either name may be the text of an item here: erase by position.
        if (size_t taken = indexOf(newName); taken != npos) {
            items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(taken));
            at -= taken < at ? 1 : 0;
        }
        items_[at].name = std::move(newName);
        return true;
    }

    // Nothing when no item has the name.
    void remove(std::string_view name)
    {
        if (size_t at = indexOf(name); at != npos)
            items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(at));
    }

    const std::vector<T>& items() const { return items_; }
    std::vector<std::string> names() const
    {
        std::vector<std::string> out;
        out.reserve(items_.size());
        for (const T& item : items_)
            out.push_back(item.name);
        return out;
    }

    bool operator==(const KTNamedList&) const = default;

private:
    static constexpr size_t npos = static_cast<size_t>(-1);

    size_t indexOf(std::string_view name) const
    {
        auto it = std::find_if(items_.begin(), items_.end(), [&](const T& item) { return item.name == name; });
        return it == items_.end() ? npos : static_cast<size_t>(it - items_.begin());
    }

    std::vector<T> items_;
};

} // namespace quilt
