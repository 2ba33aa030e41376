#pragma once

#include "core/config/GRef.h"
#include "core/config/KTJson.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <optional>
#include <string>

namespace quilt {

// Fills a folder with a complete app bundle copied from the template
// "DefaultApp.app": Info.plist, the configuration property list, the icon,
// the user scripts, the unique identifier and a copy of the template itself
// for later updates.
class KTBundleBuilder {
public:
    static constexpr const char* kTemplateName = "DefaultApp.app";
    static constexpr const char* kExecutable = "DefaultApp";

    struct Contents {
        std::string name;
        std::string bundleIdentifier;
        std::string uniqueId;
        std::string configurationName; // "QuiltCreationToolSettings" or "EnterpriseSettings"
        KTJson configuration;
        GRef<GdkPixbuf> icon;
        std::optional<KTJson> userScripts; // replaces the template's when set
        // Files of an old bundle that the user changed, carried over as
        // they are instead of the icon and the scripts above.
        std::optional<std::string> keptIcns;
        std::optional<std::string> keptUserScripts;
    };

    static constexpr const char* kIconFile = "AppIcon.icns";
    static constexpr const char* kUserScriptsFile = "Scripts/userscripts.json";

    explicit KTBundleBuilder(std::string templatePath);

    // Why a folder cannot serve as the template, or nullopt when it can.
    static std::optional<std::string> templateProblem(const std::string& path);

    // Builds into the existing empty folder `folder`. Throws KTCreateFailure.
    void build(const std::string& folder, const Contents& contents) const;

    // Copies the template's Contents without anything that belongs to one
    // made app (its configuration, its identifier, its own template copy),
    // so a template made from an app is still just the template.
    static void copyTemplateContents(const std::string& from, const std::string& to);

private:
    std::string template_;
};

} // namespace quilt
