#include "core/config/KTHistoryManager.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTJson.h"

#include <simdjson.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <cstdio>
#include <cstring>
#include <functional>
#include <limits>
#include <utility>

namespace quilt {

namespace {

// Revisions are unique across store instances, so a menu that followed one
// store never takes another's changes for its own.
std::atomic<uint64_t> lastRevision {0};
uint64_t nextRevision() { return ++lastRevision; }

// Writes s as a JSON string exactly as json::compact does.
void appendString(std::string& out, std::string_view s)
{
    if (!simdjson::validate_utf8(s.data(), s.size())) {
        // Broken bytes are replaced, not refused: the general writer decides how.
        out += json::compact(KTJson(std::string(s)));
        return;
    }
    out += '"';
    size_t start = 0;
    for (size_t i = 0; i < s.size(); ++i) {
        const auto c = static_cast<unsigned char>(s[i]);
        if (c >= 0x20 && c != '"' && c != '\\')
            continue;
        out.append(s, start, i - start);
        start = i + 1;
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\b': out += "\\b"; break;
        case '\t': out += "\\t"; break;
        case '\n': out += "\\n"; break;
        case '\f': out += "\\f"; break;
        case '\r': out += "\\r"; break;
        default: {
            char u[8];
            std::snprintf(u, sizeof u, "\\u%04x", c);
            out += u;
        }
        }
    }
    out.append(s, start, s.size() - start);
    out += '"';
}

} // namespace

struct KTHistoryManager::Records : Contents {
    static constexpr uint32_t kNone = std::numeric_limits<uint32_t>::max();
    // A string of `strings`: where it starts and its length; at == kNone
    // when the entry has no such string.
    struct Text {
        uint32_t at = kNone;
        uint32_t size = 0;
    };
    struct Entry {
        Text title, url, date;
        uint32_t odd = 0; // 1 + its index in `odds`, or 0 for a plain record
    };
    struct Slot {
        uint32_t hash = 0;
        uint32_t entry = 0; // 1 + its index in `entries`, or 0 when free
    };

    std::string strings;         // every title, URL and date, one after another
    size_t garbage = 0;          // bytes of `strings` no entry uses any more
    std::vector<Entry> entries;  // in file order, then in order of first visit
    std::vector<KTJson> odds;    // entries of another shape, as read
    // Title -> entry, open addressing, at most half full. From calloc: the
    // zeroed pages of a large index cost nothing until a title lands there.
    struct Free {
        void operator()(Slot* p) const { std::free(p); }
    };
    std::unique_ptr<Slot[], Free> slots;
    size_t slotCount = 0; // a power of two
    // A file whose top level is not an object is kept as it is, and takes no visits.
    std::optional<KTJson> foreign;

    // sortedByDateNames() as entry numbers, kept up to date once asked for.
    std::vector<uint32_t> order;
    bool ordered = false;
    uint64_t revision = nextRevision();

    std::string_view view(Text t) const
    {
        return t.at == kNone ? std::string_view() : std::string_view(strings.data() + t.at, t.size);
    }
    std::string_view title(uint32_t e) const { return view(entries[e].title); }
    std::string_view date(uint32_t e) const { return view(entries[e].date); }
    // Equal dates keep the entries' order, as a stable sort would.
    bool earlier(uint32_t a, uint32_t b) const
    {
        const auto da = date(a), db = date(b);
        return da < db || (da == db && a < b);
    }

    static bool fits(std::string_view s) { return s.size() < kNone / 4; }
    Text keep(std::string_view s)
    {
        if (strings.size() + s.size() >= kNone)
            compact();
        Text t {static_cast<uint32_t>(strings.size()), static_cast<uint32_t>(s.size())};
        strings.append(s);
        return t;
    }
    void drop(Text t) { garbage += t.at == kNone ? 0 : t.size; }

    static uint32_t hashOf(std::string_view s) { return static_cast<uint32_t>(std::hash<std::string_view> {}(s)); }
    // The entry titled so, or -1.
    int64_t find(std::string_view title, uint32_t hash) const
    {
        if (slotCount == 0)
            return -1;
        const size_t mask = slotCount - 1;
        for (size_t i = hash & mask;; i = (i + 1) & mask) {
            const Slot& s = slots[i];
            if (s.entry == 0)
                return -1;
            if (s.hash == hash && this->title(s.entry - 1) == title)
                return s.entry - 1;
        }
    }
    void place(uint32_t hash, uint32_t entry)
    {
        const size_t mask = slotCount - 1;
        size_t i = hash & mask;
        while (slots[i].entry != 0)
            i = (i + 1) & mask;
        slots[i] = Slot {hash, entry + 1};
    }
    // Room for `count` titles.
    void reserveIndex(size_t count)
    {
        size_t capacity = 64;
        while (capacity < 2 * count)
            capacity <<= 1;
        if (capacity <= slotCount)
            return;
        auto* fresh = static_cast<Slot*>(std::calloc(capacity, sizeof(Slot)));
        if (!fresh)
            throw std::bad_alloc();
        KTFileUtil::preferHugePages(fresh, capacity * sizeof(Slot));
        std::unique_ptr<Slot[], Free> old(fresh);
        old.swap(slots);
        const size_t oldCount = std::exchange(slotCount, capacity);
        for (size_t i = 0; i < oldCount; ++i)
            if (old[i].entry != 0)
                place(old[i].hash, old[i].entry - 1);
    }

    // Title -> (url, date): a title seen before keeps its place and takes
    // the new strings. Returns the entry's number.
    uint32_t put(std::string_view title, std::optional<std::string_view> url, std::optional<std::string_view> date,
                 KTJson* odd = nullptr)
    {
        const uint32_t hash = hashOf(title);
        int64_t found = find(title, hash);
        uint32_t e;
        if (found >= 0) {
            e = static_cast<uint32_t>(found);
            Entry& old = entries[e];
            drop(old.url);
            drop(old.date);
            if (old.odd)
                odds[old.odd - 1] = KTJson();
            old = Entry {old.title, {}, {}, 0};
        } else {
            reserveIndex(entries.size() + 1);
            e = static_cast<uint32_t>(entries.size());
            entries.push_back(Entry {keep(title), {}, {}, 0});
            place(hash, e);
        }
        Entry& entry = entries[e];
        // The strings first: they may lie inside the odd value moved below.
        if (url)
            entry.url = keep(*url);
        if (date)
            entry.date = keep(*date);
        if (odd) {
            odds.push_back(std::move(*odd));
            entry.odd = static_cast<uint32_t>(odds.size());
        }
        if (garbage > (64u << 10) && 2 * garbage > strings.size())
            compact();
        return e;
    }

    void compact()
    {
        std::string live;
        live.reserve(strings.size() - garbage);
        auto move = [&](Text& t) {
            if (t.at == kNone)
                return;
            const uint32_t at = static_cast<uint32_t>(live.size());
            live.append(strings, t.at, t.size);
            t.at = at;
        };
        for (Entry& e : entries) {
            move(e.title);
            move(e.url);
            move(e.date);
        }
        strings = std::move(live);
        strings.shrink_to_fit();
        garbage = 0;
    }

    void sort()
    {
        if (ordered)
            return;
        order.resize(entries.size());
        for (uint32_t i = 0; i < order.size(); ++i)
            order[i] = i;
        std::sort(order.begin(), order.end(), [this](uint32_t a, uint32_t b) { return earlier(a, b); });
        ordered = true;
    }

    void changed() { revision = nextRevision(); }

    void record(std::string_view url, std::string_view title, std::string_view date)
    {
        if (foreign || !fits(url) || !fits(title) || !fits(date))
            return;
        if (!ordered) {
            put(title, url, date);
            changed();
            return;
        }
        // The date order is kept as visits come, so that the latest titles
        // never need years of them sorted again.
        const uint32_t hash = hashOf(title);
        if (int64_t found = find(title, hash); found >= 0) {
            auto at = std::lower_bound(order.begin(), order.end(), static_cast<uint32_t>(found),
                                       [this](uint32_t a, uint32_t b) { return earlier(a, b); });
            order.erase(at);
        }
        const uint32_t e = put(title, url, date);
        auto to = std::lower_bound(order.begin(), order.end(), e, [this](uint32_t a, uint32_t b) { return earlier(a, b); });
        order.insert(to, e);
        changed();
    }

    // Reads the common file (every entry {"url": string, "date": string})
    // straight into records; false for anything else, which the general
    // reader then decides on. simdjson's document parser checks the whole
    // text as the general reader does (its on-demand parser would be built
    // here without the processor-specific code).
    bool readQuickly(std::string& text)
    {
        size_t skip = text.size() >= 3 && std::memcmp(text.data(), "\xEF\xBB\xBF", 3) == 0 ? 3 : 0;
        // The general reader refuses NUL bytes.
        if (std::memchr(text.data(), '\0', text.size()))
            return false;
        if (text.capacity() < text.size() + simdjson::SIMDJSON_PADDING)
            text.reserve(text.size() + simdjson::SIMDJSON_PADDING);
        simdjson::dom::parser parser;
        simdjson::dom::object top;
        const size_t size = text.size() - skip;
        if (parser.allocate(size, json::kMaxDepth))
            return false;
        // The parser's buffers hold at least this much each (its tape 8 bytes
        // a byte of text, its index 4), of which it fills a part.
        KTFileUtil::preferHugePages(parser.doc.tape.get(), size * 8);
        KTFileUtil::preferHugePages(parser.doc.string_buf.get(), size);
        KTFileUtil::preferHugePages(parser.implementation->structural_indexes.get(), size * 4);
        if (parser.parse(text.data() + skip, size, false).get(top))
            return false;
        strings.reserve(text.size() - text.size() / 8);
        KTFileUtil::preferHugePages(strings.data(), strings.capacity());
        entries.reserve(top.size());
        reserveIndex(top.size());
        KTFileUtil::preferHugePages(entries.data(), entries.capacity() * sizeof(Entry));
        for (auto [title, value] : top) {
            simdjson::dom::object entry;
            if (value.get_object().get(entry) || entry.size() != 2)
                return false;
            auto first = entry.begin(), second = std::next(first);
            std::string_view url, date;
            if (first.key() != "url" || second.key() != "date" || first.value().get_string().get(url) ||
                second.value().get_string().get(date) || !fits(title) || !fits(url) || !fits(date))
                return false;
            put(title, url, date);
        }
        return true;
    }

    void readGeneral(KTJson value)
    {
        if (!value.is_object()) {
            foreign = std::move(value);
            return;
        }
        for (auto it = value.begin(); it != value.end(); ++it) {
            KTJson& v = it.value();
            const KTJson* url = json::lookup(v, "url");
            const KTJson* date = json::lookup(v, "date");
            auto text = [](const KTJson* s) {
                return s && s->is_string() ? std::optional<std::string_view>(s->get_ref<const std::string&>())
                                           : std::nullopt;
            };
            const bool plain = v.is_object() && v.size() == 2 && v.begin().key() == "url" && text(url) &&
                               std::next(v.begin()).key() == "date" && text(date);
            // Another shape is kept as it is; its strings still name and date it.
            put(it.key(), text(url), text(date), plain ? nullptr : &v);
        }
    }

    std::string write() const
    {
        std::string out;
        out.reserve(strings.size() + entries.size() * 24 + 2);
        out += '{';
        for (const Entry& e : entries) {
            if (out.size() > 1)
                out += ',';
            appendString(out, view(e.title));
            out += ':';
            if (e.odd) {
                out += json::compact(odds[e.odd - 1]);
                continue;
            }
            out += "{\"url\":";
            appendString(out, view(e.url));
            out += ",\"date\":";
            appendString(out, view(e.date));
            out += '}';
        }
        out += '}';
        return out;
    }
};

KTHistoryManager::KTHistoryManager(Key)
    : KTStore("history.json")
    , records_(std::make_unique<Records>())
{
}

KTHistoryManager::~KTHistoryManager() = default;

KTManager::Parser KTHistoryManager::parser() const
{
    return [](std::string& text, std::string* error) -> std::unique_ptr<Contents> {
        auto records = std::make_unique<Records>();
        if (records->readQuickly(text))
            return records;
        auto value = json::parse(text, error);
        if (!value)
            return nullptr;
        records = std::make_unique<Records>();
        records->readGeneral(std::move(*value));
        return records;
    };
}

void KTHistoryManager::adopt(std::unique_ptr<Contents> contents)
{
    records_.reset(contents ? static_cast<Records*>(contents.release()) : new Records);
    records_->changed();
}

std::optional<std::string> KTHistoryManager::serialized() const
{
    if (records_->foreign) {
        if (records_->foreign->is_null())
            return std::nullopt;
        return json::compact(*records_->foreign);
    }
    return records_->write();
}

void KTHistoryManager::addUrlWithNameForDate(const std::string& url, const std::string& title, const std::string& date)
{
    if (url.empty() || title.empty())
        return;
    afterLoading([this, url, title, date] { records_->record(url, title, date); });
}

std::optional<std::string> KTHistoryManager::getUrlByName(const std::string& title) const
{
    finishLoading();
    const int64_t e = records_->find(title, Records::hashOf(title));
    if (e < 0 || records_->entries[e].url.at == Records::kNone)
        return std::nullopt;
    return std::string(records_->view(records_->entries[e].url));
}

std::vector<std::string> KTHistoryManager::sortedByDateNames() const
{
    finishLoading();
    records_->sort();
    std::vector<std::string> names;
    names.reserve(records_->order.size());
    for (uint32_t e : records_->order)
        names.emplace_back(records_->title(e));
    return names;
}

void KTHistoryManager::clearHistory()
{
    // Waits for a load: the file's entries go, visits recorded after stay.
    finishLoading();
    records_ = std::make_unique<Records>();
}

size_t KTHistoryManager::size() const
{
    finishLoading();
    return records_->entries.size();
}

uint64_t KTHistoryManager::revision() const
{
    finishLoading();
    return records_->revision;
}

std::vector<std::string> KTHistoryManager::latestByDateNames(size_t count) const
{
    finishLoading();
    records_->sort();
    const auto& order = records_->order;
    std::vector<std::string> names;
    names.reserve(std::min(count, order.size()));
    for (size_t i = order.size() - std::min(count, order.size()); i < order.size(); ++i)
        names.emplace_back(records_->title(order[i]));
    return names;
}

std::string KTHistoryManager::dateString(std::time_t when)
{
    std::tm local {};
    localtime_r(&when, &local);
    char base[32];
    std::strftime(base, sizeof base, "%Y-%m-%d %H:%M:%S", &local);
    long offset = local.tm_gmtoff;
    char zone[40];
    if (offset == 0) {
        std::snprintf(zone, sizeof zone, "Z");
    } else {
        long a = offset < 0 ? -offset : offset;
        std::snprintf(zone, sizeof zone, "%c%02ld:%02ld", offset < 0 ? '-' : '+', a / 3600, (a % 3600) / 60);
    }
    return std::string(base) + zone + " T";
}

} // namespace quilt
