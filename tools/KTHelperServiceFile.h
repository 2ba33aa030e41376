#pragma once

#include <optional>
#include <string>

namespace quilt {

// The session bus's activation file for the helper service,
// "$XDG_DATA_HOME/dbus-1/services/org.quilt.Helper.service": it names the
// bus name and the quilt-helper program that the bus starts on the first
// request. All apps share it; quilt-create writes it with every app and
// leaves it in place when an app is removed.
class KTHelperServiceFile {
public:
    static std::string path();
    static std::string contents(const std::string& helperExecutable);

    // QUILT_HELPER when set, else quilt-helper in ../helper beside the
    // tool's own folder (the build tree), in ../libexec/quilt (installed in
    // a prefix) or beside the tool itself; nullopt when none is there.
    static std::optional<std::string> findHelper();

    // Writes the file when its text differs; false with `error` on failure.
    static bool install(const std::string& helperExecutable, std::string* error = nullptr);
};

} // namespace quilt
