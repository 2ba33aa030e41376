#include "core/web/KTStylesManager.h"

#include "core/config/KTFileManager.h"
#include "core/config/KTJson.h"
#include "core/config/KTShared.h"

#include <charconv>

namespace quilt {

KTStylesManager& KTStylesManager::sharedManager() { return KTShared<KTStylesManager>::get(); }

std::unique_ptr<KTStylesManager> KTStylesManager::create()
{
    return std::make_unique<KTStylesManager>(defaultPath());
}

std::string KTStylesManager::defaultPath()
{
    return KTFileManager::getSettingsPath() + "/userstyles.json";
}

std::string KTStylesManager::wrapStyle(std::string_view css)
{
    // The style goes in as a string literal (JSON's form is one), never
    // spliced into a template: a backtick or "${" in a user style or a font
    // name must stay text, not run as script in every page.
    const std::string literal = json::compact(KTJson(std::string(css)));
    return "(function() {var css = " + literal
        + ";\n"
          "if (typeof GM_addStyle != \"undefined\") {\n"
          "    GM_addStyle(css);\n"
          "} else if (typeof PRO_addStyle != \"undefined\") {\n"
          "    PRO_addStyle(css);\n"
          "} else if (typeof addStyle != \"undefined\") {\n"
          "    addStyle(css);\n"
          "} else {\n"
          "    var node = document.createElement(\"style\");\n"
          "    node.type = \"text/css\";\n"
          "    node.appendChild(document.createTextNode(css));\n"
          "    var heads = document.getElementsByTagName(\"head\");\n"
          "    if (heads.length > 0) {\n"
          "        heads[0].appendChild(node);\n"
          "    } else {\n"
          "        // no head yet, stick it whereever\n"
          "        document.documentElement.appendChild(node);\n"
          "    }\n"
          "}\n"
          "})();";
}

std::string KTStylesManager::fontStyle(std::string_view family, double pointSize)
{
    char size[64];
    auto [end, ec] = std::to_chars(size, size + sizeof size, pointSize, std::chars_format::fixed, 6);
    std::string printed = ec == std::errc() ? std::string(size, end) : "0.000000";
    return "h1, h2, h3, p, a {\nfont-family: " + std::string(family) + ";\nfont-size: " + printed + "px;\n}";
}

} // namespace quilt
