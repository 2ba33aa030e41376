#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// The freedesktop launcher of one app, "$XDG_DATA_HOME/applications/<bundle
// id>.desktop". The X-Quilt-* keys let quilt-create find its apps again.
class KTDesktopEntry {
public:
    static constexpr const char* kUniqueIdKey = "X-Quilt-UniqueID";
    static constexpr const char* kUrlKey = "X-Quilt-URL";
    static constexpr const char* kBundleKey = "X-Quilt-Bundle";

    std::string name;
    std::string comment;
    std::string executable; // absolute path of the bundle's executable
    std::string icon;       // absolute path of a PNG
    std::string wmClass;    // the bundle identifier
    std::string uniqueId;
    std::string url;
    std::string bundlePath;

    // The file's text; keys in a fixed order.
    std::string toData() const;
    // Reads a desktop entry; nullopt unless it has a [Desktop Entry] group.
    // Entries not made by quilt-create parse too, with an empty uniqueId.
    static std::optional<KTDesktopEntry> fromData(std::string_view data);
    static std::optional<KTDesktopEntry> readFile(const std::string& path);

    // One argument of an Exec line: quoted when it holds a reserved
    // character, with "%" doubled as field codes require.
    static std::string quoteExecArgument(std::string_view argument);
    // The executable path back from an Exec line written by quoteExecArgument.
    static std::optional<std::string> firstExecArgument(std::string_view exec);
};

} // namespace quilt
