#pragma once

#include "core/config/KTJson.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// Address shortcuts, "shortcuts.json" in the data folder: one JSON object
// whose members map a short word typed into the address entry to the URL it
// stands for. Loaded once; written only when the shortcuts are edited.
class KTShortcutManager {
public:
    static KTShortcutManager& sharedManager();
    static std::unique_ptr<KTShortcutManager> create();
    explicit KTShortcutManager(std::string path);

    // An unreadable file is set aside (and logged) and the store starts
    // empty, so a later save cannot overwrite what the user may recover.
    void loadJson();
    bool saveJson();
    const std::string& getPath() const { return path_; }

    // An empty word is ignored; an existing word is replaced.
    void setShortCutForUrl(const std::string& word, const std::string& url);
    void clearShortcuts();
    // Exact, case-sensitive; nothing for an empty or unknown word.
    std::optional<std::string> findUrlForShortcut(const std::string& word) const;
    // Words and URLs in the same (file) order.
    std::vector<std::string> shortcuts() const;
    std::vector<std::string> urls() const;

private:
    std::string path_;
    KTJson json_ = KTJson::object();
};

} // namespace quilt
