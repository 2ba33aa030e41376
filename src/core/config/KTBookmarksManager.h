#pragma once

#include "core/config/KTStore.h"

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// "bookmark.json": bookmark name -> URL; names are unique.
class KTBookmarksManager : public KTStore<KTBookmarksManager> {
public:
    explicit KTBookmarksManager(Key)
        : KTStore("bookmark.json")
    {
    }

    // The shared bookmarks load in the background, off the first page's path.
    static std::unique_ptr<KTBookmarksManager> createShared() { return createLoadingInBackground(); }

    void addBookMarkForUrl(const std::string& name, const std::string& url);
    void removeBookmark(const std::string& name);
    // Names in plain (case-sensitive, bytewise) ascending order.
    std::vector<std::string> bookmarks() const;
    std::optional<std::string> getUrlByName(const std::string& name) const;
};

} // namespace quilt
