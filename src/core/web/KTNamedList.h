#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace quilt {

// Items with a public `std::string name`, unique, in the order they were
// added. Putting an item whose name is taken replaces that item where it
// stands, so a search in order finds the same item on every run. Names are
// hashed: a file of a million rules or patterns loads in linear time.
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
        index_.emplace(item.name, items_.size());
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
        reindex();
        return true;
    }

    // Nothing when no item has the name.
    void remove(std::string_view name)
    {
        if (size_t at = indexOf(name); at != npos) {
            items_.erase(items_.begin() + static_cast<std::ptrdiff_t>(at));
            reindex();
        }
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

    bool operator==(const KTNamedList& other) const { return items_ == other.items_; }

private:
    static constexpr size_t npos = static_cast<size_t>(-1);

    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const { return std::hash<std::string_view>{}(s); }
    };

    size_t indexOf(std::string_view name) const
    {
        auto it = index_.find(name);
        return it == index_.end() ? npos : it->second;
    }

    // Positions shift after an erase; removing and renaming are the user's
    // own, rare edits.
    void reindex()
    {
        index_.clear();
        for (size_t i = 0; i < items_.size(); ++i)
            index_.emplace(items_[i].name, i);
    }

    std::vector<T> items_;
    std::unordered_map<std::string, size_t, Hash, std::equal_to<>> index_;
};

} // namespace quilt
