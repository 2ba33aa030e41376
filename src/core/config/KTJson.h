#pragma once

// JSON values of the stores. Objects keep their keys in insertion order (the
// files are written back in the order they were read, and window records are
// taken in file order), like nlohmann's ordered_json; unlike it, lookups are
// hashed once an object grows, so a history of 100 000 titles parses and
// updates in linear time instead of quadratic.

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

template <class Key, class T, class IgnoredLess = std::less<Key>,
          class Allocator = std::allocator<std::pair<const Key, T>>>
struct KTOrderedMap : nlohmann::ordered_map<Key, T, IgnoredLess, Allocator> {
    using Base = nlohmann::ordered_map<Key, T, IgnoredLess, Allocator>;
    using Container = typename Base::Container;
    using key_type = Key;
    using mapped_type = T;
    using iterator = typename Base::iterator;
    using const_iterator = typename Base::const_iterator;
    using size_type = typename Base::size_type;
    using value_type = typename Base::value_type;
    using key_compare = std::equal_to<>;

    using Base::Base;

    template <class K>
    std::pair<iterator, bool> emplace(K&& key, T&& t)
    {
        if (auto it = find(key); it != this->end())
            return {it, false};
        Container::emplace_back(std::forward<K>(key), std::forward<T>(t));
        noteAppended();
        return {std::prev(this->end()), true};
    }

    template <class K>
    T& operator[](K&& key) { return emplace(std::forward<K>(key), T{}).first->second; }
    template <class K>
    const T& operator[](K&& key) const { return at(std::forward<K>(key)); }

    template <class K>
    T& at(K&& key)
    {
        auto it = find(key);
        if (it == this->end())
            throw std::out_of_range("key not found");
        return it->second;
    }
    template <class K>
    const T& at(K&& key) const
    {
        auto it = find(key);
        if (it == this->end())
            throw std::out_of_range("key not found");
        return it->second;
    }

    template <class K>
    size_type count(K&& key) const { return find(key) == this->end() ? 0 : 1; }

    template <class K>
    iterator find(const K& key)
    {
        auto i = indexOf(std::string_view(key));
        return i < 0 ? this->end() : this->begin() + i;
    }
    template <class K>
    const_iterator find(const K& key) const
    {
        auto i = indexOf(std::string_view(key));
        return i < 0 ? this->end() : this->begin() + i;
    }

    template <class K, class = std::enable_if_t<!std::is_same_v<std::decay_t<K>, iterator> &&
                                                !std::is_same_v<std::decay_t<K>, const_iterator>>>
    size_type erase(K&& key)
    {
        auto it = find(key);
        if (it == this->end())
            return 0;
        erase(it);
        return 1;
    }
    iterator erase(iterator pos) { return erase(pos, std::next(pos)); }
    iterator erase(iterator first, iterator last)
    {
        invalidate();
        return Base::erase(first, last);
    }

    std::pair<iterator, bool> insert(value_type&& value)
    {
        return emplace(value.first, std::move(value.second));
    }
    std::pair<iterator, bool> insert(const value_type& value)
    {
        if (auto it = find(value.first); it != this->end())
            return {it, false};
        Container::push_back(value);
        noteAppended();
        return {std::prev(this->end()), true};
    }
    template <typename InputIt, typename = typename Base::template require_input_iter<InputIt>>
    void insert(InputIt first, InputIt last)
    {
        for (auto it = first; it != last; ++it)
            insert(*it);
    }

    void clear() noexcept
    {
        Container::clear();
        invalidate();
    }

private:
    // Small objects (most of them) are searched linearly; the index costs
    // more than it saves below this size.
    static constexpr size_type kIndexFrom = 24;

    // The index is an open-addressed table (linear probing) of key hashes
    // and element positions, kept at most half full: no allocation per key,
    // and a lookup touches one or two slots.
    struct Slot {
        std::size_t hash = 0;
        size_type position = 0; // element position + 1; 0 = empty
    };

    static std::size_t hashOf(std::string_view key) { return std::hash<std::string_view>{}(key); }
    const std::string_view keyAt(size_type i) const
    {
        return std::string_view(this->begin()[static_cast<std::ptrdiff_t>(i)].first);
    }

    std::ptrdiff_t indexOf(std::string_view key) const
    {
        const size_type n = this->size();
        if (n < kIndexFrom) {
            for (size_type i = 0; i < n; ++i)
                if (keyAt(i) == key)
                    return static_cast<std::ptrdiff_t>(i);
            return -1;
        }
        if (indexed_ != n)
            rebuild();
        const std::size_t h = hashOf(key);
        const std::size_t mask = index_.size() - 1;
        for (std::size_t i = h & mask;; i = (i + 1) & mask) {
            const Slot& slot = index_[i];
            if (slot.position == 0)
                return -1;
            if (slot.hash == h && keyAt(slot.position - 1) == key)
                return static_cast<std::ptrdiff_t>(slot.position - 1);
        }
    }

    static std::size_t capacityFor(size_type count)
    {
        std::size_t capacity = 64;
        while (capacity < 2 * count)
            capacity <<= 1;
        return capacity;
    }

    void place(std::size_t h, size_type position) const
    {
        const std::size_t mask = index_.size() - 1;
        std::size_t i = h & mask;
        while (index_[i].position != 0)
            i = (i + 1) & mask;
        index_[i] = Slot{h, position + 1};
    }

    void rebuild() const
    {
        index_.assign(capacityFor(this->size()), Slot{});
        for (size_type i = 0; i < this->size(); ++i)
            place(hashOf(keyAt(i)), i);
        indexed_ = this->size();
    }

    void noteAppended()
    {
        // Keep a built index in step with appends; a stale one is rebuilt lazily.
        const size_type last = this->size() - 1;
        if (indexed_ == 0 || indexed_ != last)
            return;
        if (2 * this->size() > index_.size()) {
            // Grow from the stored hashes rather than hashing every key again.
            std::vector<Slot> old(capacityFor(this->size()));
            old.swap(index_);
            for (const Slot& slot : old)
                if (slot.position != 0)
                    place(slot.hash, slot.position - 1);
        }
        place(hashOf(this->back().first), last);
        indexed_ = last + 1;
    }

    void invalidate()
    {
        index_.clear();
        indexed_ = 0;
    }

    mutable std::vector<Slot> index_;
    mutable size_type indexed_ = 0;
};

using KTJson = nlohmann::basic_json<KTOrderedMap>;

// Truth and number conversions of values read from files written by other
// versions: a flag may arrive as a boolean, a number or a string.
namespace json {

bool truthValue(const KTJson& v, bool absent = false);
bool boolFor(const KTJson& object, std::string_view key, bool absent = false);
double doubleFor(const KTJson& object, std::string_view key, double absent = 0.0);
int64_t intFor(const KTJson& object, std::string_view key, int64_t absent = 0);
uint64_t unsignedFor(const KTJson& object, std::string_view key, uint64_t absent = 0);
std::optional<std::string> stringFor(const KTJson& object, std::string_view key);
const KTJson* lookup(const KTJson& object, std::string_view key);

// Documents nested deeper than this are refused, so a hostile file cannot
// exhaust the stack.
inline constexpr int kMaxDepth = 512;

// Parses text with simdjson into the values nlohmann's own parser would build
// (integers as int64 when negative and uint64 otherwise, falling back to
// double when they do not fit; a repeated key keeps its first position and
// its last value; UTF-8 checked; a leading byte order mark skipped; NUL bytes
// refused). On failure returns nullopt with "parse error: ..." in *error.
// Safe to call from several threads at once.
std::optional<KTJson> parse(std::string_view text, std::string* error = nullptr);
// Compact serialisation (no pretty printing, keys in stored order).
std::string compact(const KTJson& value);

} // namespace json
} // namespace quilt
