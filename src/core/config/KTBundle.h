#pragma once

#include "core/config/KTJson.h"

#include <optional>
#include <string>

namespace quilt {

// An app bundle: a folder NAME.app holding Contents/Info.plist, the
// executable in Contents/MacOS and read-only resources in Contents/Resources.
class KTBundle {
public:
    static constexpr const char* kUniqueIdAttribute = "user.QuiltUniqueID";
    static constexpr const char* kUniqueIdFallbackFile = ".QuiltUniqueID";

    explicit KTBundle(std::string path);

    // The running app's bundle: QUILT_BUNDLE when set, otherwise found from
    // the executable's own path (BUNDLE/Contents/MacOS/EXE).
    static KTBundle& main();
    static void setMainPath(const std::string& path);

    const std::string& path() const { return path_; }
    std::string resourcePath() const { return path_ + "/Contents/Resources"; }
    std::string infoPlistPath() const { return path_ + "/Contents/Info.plist"; }
    std::string executablePath() const;
    // "%@/%@.%@" in the resources, or empty when there is no such file.
    std::string pathForResource(const std::string& name, const std::string& type) const;

    // Info.plist as a dictionary (empty when missing); read once and kept.
    const KTJson& infoDictionary() const;
    std::string infoString(const std::string& key) const;
    std::string bundleIdentifier() const { return infoString("CFBundleIdentifier"); }
    std::string shortVersion() const { return infoString("CFBundleShortVersionString"); }
    // Folder name without ".app".
    std::string folderName() const;

    // The app's unique identifier: the bundle folder's extended attribute,
    // or the fallback file where the file system refuses user attributes.
    // Read afresh on every call.
    std::optional<std::string> uniqueIdentifier() const;
    static bool writeUniqueIdentifier(const std::string& bundlePath, const std::string& id,
                                      std::string* error = nullptr);

private:
    std::string path_;
    mutable std::optional<KTJson> info_;
};

} // namespace quilt
