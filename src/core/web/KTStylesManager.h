#pragma once

#include "core/web/KTScriptsManager.h"

#include <memory>
#include <string>
#include <string_view>

namespace quilt {

// The user styles of an app: the same rules as the user scripts, but the
// text is CSS and the file is the user's own, "userstyles.json" in the
// app's data folder.
class KTStylesManager : public KTScriptsManager {
public:
    static KTStylesManager& sharedManager();
    static std::unique_ptr<KTStylesManager> create();
    explicit KTStylesManager(std::string jsonPath)
        : KTScriptsManager(std::move(jsonPath))
    {
    }

    // "%@/userstyles.json" in the data folder.
    static std::string defaultPath();

    // The script that adds the CSS to a page; the CSS is one string literal
    // in it, whatever characters it holds.
    static std::string wrapStyle(std::string_view css);
    // The CSS of the standard font setting: "h1, h2, h3, p, a" in that
    // family and size, the size printed with six decimals whatever the
    // locale ("13.000000px").
    static std::string fontStyle(std::string_view family, double pointSize);
};

} // namespace quilt
