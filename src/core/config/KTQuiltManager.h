#pragma once

#include "core/config/KTColor.h"
#include "core/config/KTJson.h"
#include "core/config/KTRect.h"

#include <memory>
#include <optional>
#include <string>

namespace quilt {

// The bundle's read-only configuration: "QuiltCreationToolSettings.plist"
// written by the creation tool, or "EnterpriseSettings.plist" prepared by an
// administrator. An enterprise configuration is imposed on the stores at
// every start; a creation-tool app keeps whatever the user set.
class KTQuiltManager {
public:
    // Made once per process (KTShared); runs setDefaultSettings on creation.
    static KTQuiltManager& sharedManager();
    static std::unique_ptr<KTQuiltManager> create();

    // Each of these consults the files as they are now (a file is parsed
    // again only after it changed).
    static bool quiltCreationToolBuild();
    static bool enterpriseBuild();
    static std::optional<KTJson> settingDict();
    static std::string appName();
    // The name shown for the app: the enterprise name, else the bundle's
    // folder name.
    static std::string applicationName();
    static KTSize quiltCreationToolWindowSize();
    static float alphaValue();
    static bool hideEnterpriseItems();
    // Six hexadecimal digits (an optional 0x is accepted, a "#" is not) to
    // an opaque calibrated RGB colour; anything unreadable is black.
    static KTColor colorWithHexColorString(const std::optional<std::string>& text);

    void setDefaultSettings();

private:
    KTQuiltManager() = default;
    static KTJson readConfiguration(const char* name);
};

} // namespace quilt
