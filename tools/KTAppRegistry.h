#pragma once

#include <string>
#include <vector>

namespace quilt {

// One app made by quilt-create, as found on disk.
struct KTInstalledApp {
    std::string name;
    std::string url;
    std::string bundlePath;
    std::string uniqueId;
    std::string bundleIdentifier;
    std::string desktopFile; // empty when the app has none
    std::string iconPath;    // the exported PNG, empty when none
};

// Where made apps live and what they are called, and finding and removing
// them again. Apps are found by their desktop entries (those carrying
// X-Quilt-UniqueID) and by the bundles in the apps folders.
class KTAppRegistry {
public:
    static std::string applicationsFolder(); // $XDG_DATA_HOME/applications
    static std::string defaultAppsFolder();  // $XDG_DATA_HOME/quilt/apps
    static std::string desktopFilePath(const std::string& bundleIdentifier);
    // The launcher icon: exported next to the icon theme's own files.
    static std::string iconPath(const std::string& bundleIdentifier);

    // "org.quilt.apps.<name>_<8 hex of the unique id>": a valid D-Bus and
    // GApplication id, so two apps of the same name never share one.
    static std::string bundleIdentifierFor(const std::string& name, const std::string& uniqueId);

    // A bundle made from the template (not just any folder of that name).
    static bool isAppBundle(const std::string& path);

    // Every app, desktop entries first, then bundles in the folders that
    // no entry names; sorted by name.
    static std::vector<KTInstalledApp> list(const std::vector<std::string>& folders);

    // Removes the bundle, the desktop entry and the exported icon; with
    // purge, the data, cache and configuration folders too. Throws
    // KTCreateFailure.
    static void remove(const KTInstalledApp& app, bool purge);

    // Desktops cache the entries; a failure here only delays their update.
    static void refreshDesktopDatabase();
};

} // namespace quilt
