#pragma once

#include "core/config/KTStore.h"

#include <ctime>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// "history.json": page title -> {"url", "date"}; a later visit to a page
// with the same title replaces the earlier entry. No limit, no expiry.
class KTHistoryManager : public KTStore<KTHistoryManager> {
public:
    explicit KTHistoryManager(Key)
        : KTStore("history.json")
    {
    }

    // The shared history loads in the background: years of titles must not
    // hold back the first page, and a visit recorded meanwhile waits for it.
    static std::unique_ptr<KTHistoryManager> createShared() { return createLoadingInBackground(); }

    // Ignored unless both the URL and the title are non-empty. Never waits
    // for a background load.
    void addUrlWithNameForDate(const std::string& url, const std::string& title, const std::string& date);
    std::optional<std::string> getUrlByName(const std::string& title) const;
    // Titles by their date strings, oldest first (the strings are compared).
    std::vector<std::string> sortedByDateNames() const;
    void clearHistory();

    // The visit time as pages record it: "yyyy-MM-dd HH:mm:ssZZZZZ 'T'",
    // e.g. "2026-11-21 14:05:09+01:00 T" ("Z" for UTC).
    static std::string dateString(std::time_t when);
};

} // namespace quilt
