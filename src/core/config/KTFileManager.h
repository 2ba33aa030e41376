#pragma once

#include <optional>
#include <string>

namespace quilt {

// Where an app keeps its files: the data folder is "%@/Quilt/%@/" under the
// user's data folder, named by the app's unique identifier, and ends in "/".
class KTFileManager {
public:
    // The data folder of the running app; created (with intermediate folders)
    // on every request; a failure is logged and the path returned anyway.
    static std::string getSettingsPath();
    static std::string getSettingsPathForSandbox();
    static std::string getSettingsPathForSandbox(const std::optional<std::string>& uniqueId);
    // "%@/.QVT/%@/" with the home folder and the bundle folder's name; never created.
    static std::string getHomeAppFolder();
    // The web cache folder of the app: "%@/%@" under the user's cache folder
    // with the bundle identifier.
    static std::string getWebCachePath();
};

} // namespace quilt
