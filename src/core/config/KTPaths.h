#pragma once

#include <string>

namespace quilt {

// The user's folders, read from the environment on every call (no caching,
// so tests and tools that point HOME or XDG_* elsewhere are honoured).
class KTPaths {
public:
    static std::string home();
    static std::string userDataDir();    // $XDG_DATA_HOME or ~/.local/share
    static std::string userConfigDir();  // $XDG_CONFIG_HOME or ~/.config
    static std::string userCacheDir();   // $XDG_CACHE_HOME or ~/.cache
    static std::string downloadsDir();   // XDG download folder, else ~/Downloads
};

} // namespace quilt
