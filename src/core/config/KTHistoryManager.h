#pragma once

#include "core/config/KTStore.h"

#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// "history.json": page title -> {"url", "date"}; a later visit to a page
// with the same title replaces the earlier entry. No limit, no expiry.
//
// Years of browsing make 100 000 titles, so the entries are kept as compact
// records (their strings in one buffer, a hash index by title) read straight
// from the file, not as a general JSON tree. An entry of another shape,
// written by hand or by another version, is kept as it was read and written
// back the same.
class KTHistoryManager : public KTStore<KTHistoryManager> {
public:
    explicit KTHistoryManager(Key);
    ~KTHistoryManager() override;

    // The shared history loads in the background: years of titles must not
    // hold back the first page, and a visit recorded meanwhile waits for it.
    static std::unique_ptr<KTHistoryManager> createShared() { return createLoadingInBackground(); }

    // Ignored unless both the URL and the title are non-empty. Never waits
    // for a background load.
    void addUrlWithNameForDate(const std::string& url, const std::string& title, const std::string& date);
    std::optional<std::string> getUrlByName(const std::string& title) const;
    // Titles by their date strings, oldest first (the strings are compared;
    // equal dates keep the file's order).
    std::vector<std::string> sortedByDateNames() const;
    void clearHistory();
    size_t size() const;

    // The last `count` of sortedByDateNames(), without copying the rest.
    std::vector<std::string> latestByDateNames(size_t count) const;
    // Changes with every change of the titles or their order (unique across
    // instances), so that a menu can tell it has nothing to do.
    uint64_t revision() const;
    // The visit time as pages record it: "yyyy-MM-dd HH:mm:ssZZZZZ 'T'",
    // e.g. "2026-11-21 14:05:09+01:00 T" ("Z" for UTC).
    static std::string dateString(std::time_t when);

private:
    // The entries are not a JSON value: json() would show an empty object.
    using KTManager::json;
    using KTManager::setJson;
    using KTManager::whenLoaded;

    struct Records;
    Parser parser() const override;
    void adopt(std::unique_ptr<Contents> contents) override;
    std::optional<std::string> serialized() const override;

    std::unique_ptr<Records> records_;
};

} // namespace quilt
