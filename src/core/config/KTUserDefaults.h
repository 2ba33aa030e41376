#pragma once

#include <glib.h>

#include <optional>
#include <string>

namespace quilt {

// Per-app user defaults ("lastUserAnget", "ToolbarVisible", "UserNotifications",
// "DockBadge", "globalShortcutKey", ...) in a key file at
// $XDG_CONFIG_HOME/BUNDLEID/defaults.ini. Values are kept in memory and
// written by synchronize(); absent keys read as the documented defaults.
class KTUserDefaults {
public:
    explicit KTUserDefaults(std::string path);
    ~KTUserDefaults();
    KTUserDefaults(const KTUserDefaults&) = delete;
    KTUserDefaults& operator=(const KTUserDefaults&) = delete;

    static KTUserDefaults& standardUserDefaults();
    // Forgets the app's defaults (tests switch apps within one process).
    static void resetStandardUserDefaults();
    static std::string pathForBundleIdentifier(const std::string& bundleId);

    bool hasKey(const std::string& key) const;
    std::optional<std::string> stringForKey(const std::string& key) const;
    bool boolForKey(const std::string& key) const;
    // The stored value's truth when the key has any value, else the default.
    bool boolForKeyDefaultValue(const std::string& key, bool defaultValue) const;
    long integerForKey(const std::string& key) const;

    void setString(const std::string& key, const std::string& value);
    void setBool(const std::string& key, bool value);
    void setInteger(const std::string& key, long value);
    void removeObjectForKey(const std::string& key);

    // Writes the file atomically; false (and a log line) when it cannot.
    bool synchronize();
    const std::string& path() const { return path_; }

private:
    std::string path_;
    GKeyFile* file_;
};

} // namespace quilt
