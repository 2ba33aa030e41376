#include "core/config/KTHistoryManager.h"

#include <algorithm>
#include <cstdio>

namespace quilt {

void KTHistoryManager::addUrlWithNameForDate(const std::string& url, const std::string& title, const std::string& date)
{
    if (url.empty() || title.empty())
        return;
    KTJson entry = KTJson::object();
    entry["url"] = url;
    entry["date"] = date;
    whenLoaded([title, entry = std::move(entry)](KTJson& history) mutable {
        if (history.is_object())
            history[title] = std::move(entry);
    });
}

std::optional<std::string> KTHistoryManager::getUrlByName(const std::string& title) const
{
    const KTJson* entry = json::lookup(json(), title);
    return entry ? json::stringFor(*entry, "url") : std::nullopt;
}

std::vector<std::string> KTHistoryManager::sortedByDateNames() const
{
    std::vector<std::pair<std::string_view, std::string_view>> rows;
    if (!json().is_object())
        return {};
    rows.reserve(json().size());
    static const std::string none;
    for (auto it = json().begin(); it != json().end(); ++it) {
        const KTJson* date = json::lookup(it.value(), "date");
        rows.emplace_back(it.key(), date && date->is_string() ? date->get_ref<const std::string&>() : none);
    }
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) { return a.second < b.second; });
    std::vector<std::string> names;
    names.reserve(rows.size());
    for (auto& r : rows)
        names.emplace_back(r.first);
    return names;
}

void KTHistoryManager::clearHistory() { setJson(KTJson::object()); }

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
