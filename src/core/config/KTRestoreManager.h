#pragma once

#include "core/config/KTStore.h"

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// "restore.json": each window's tab URLs and frame, under "window0",
// "window1", ... plus "version" 1.1.
class KTRestoreManager : public KTStore<KTRestoreManager> {
public:
    explicit KTRestoreManager(Key)
        : KTStore("restore.json")
    {
    }

    void save() override;
    void updateToNewFormat() override;

    // Every key but "version", in the file's own order (not sorted).
    std::vector<std::string> windowKeys() const;
    // The window object under the key, created when missing; null for an empty key.
    KTJson* getWindowDictionaryForKey(const std::string& key);
    // An empty list stores nothing.
    void addUrlsForKey(const std::vector<std::string>& urls, const std::string& key);
    // Asking creates an empty window object for an unknown key.
    std::optional<std::vector<std::string>> getUrlsForKey(const std::string& key);
    void setWindowFrameStringForKey(const std::string& frame, const std::string& key);
    std::optional<std::string> windowsFrameString(const std::string& key);
    void clear();

    // Left for callers; the store never fills it.
    std::vector<std::string> restoreUrls;

    static constexpr double kVersion = 1.1;
};

} // namespace quilt
