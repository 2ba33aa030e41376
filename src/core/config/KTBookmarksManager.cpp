#include "core/config/KTBookmarksManager.h"

#include <algorithm>

namespace quilt {

void KTBookmarksManager::addBookMarkForUrl(const std::string& name, const std::string& url)
{
    if (json().is_object())
        json()[name] = url;
}

void KTBookmarksManager::removeBookmark(const std::string& name)
{
    if (json().is_object())
        json().erase(name);
}

std::vector<std::string> KTBookmarksManager::bookmarks() const
{
    std::vector<std::string> names;
    if (!json().is_object())
        return names;
    names.reserve(json().size());
    for (auto it = json().begin(); it != json().end(); ++it)
        names.push_back(it.key());
    std::sort(names.begin(), names.end());
    return names;
}

std::optional<std::string> KTBookmarksManager::getUrlByName(const std::string& name) const
{
    return json::stringFor(json(), name);
}

} // namespace quilt
