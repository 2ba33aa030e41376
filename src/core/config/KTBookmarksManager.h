#pragma once

#include "core/config/KTManager.h"

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// "bookmark.json": bookmark name -> URL; names are unique.
class KTBookmarksManager : public KTManager {
public:
    static KTBookmarksManager& sharedManager();
    static std::unique_ptr<KTBookmarksManager> create();

    std::string getPath() override;

    void addBookMarkForUrl(const std::string& name, const std::string& url);
    void removeBookmark(const std::string& name);
    // Names in plain (case-sensitive, bytewise) ascending order.
    std::vector<std::string> bookmarks() const;
    std::optional<std::string> getUrlByName(const std::string& name) const;

private:
    KTBookmarksManager() = default;
    friend class KTManager;
    std::string path_;
};

} // namespace quilt
