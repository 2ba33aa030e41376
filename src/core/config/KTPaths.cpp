#include "core/config/KTPaths.h"

#include "core/config/KTFileUtil.h"

#include <cstdlib>
#include <pwd.h>
#include <unistd.h>

namespace quilt {

namespace {
std::string envOr(const char* name, const std::string& fallback)
{
    const char* v = std::getenv(name);
    // Relative XDG paths are invalid by the base-directory rules and ignored.
    if (v && v[0] == '/')
        return v;
    return fallback;
}

std::string unquote(std::string v)
{
    if (v.size() >= 2 && v.front() == '"' && v.back() == '"')
        v = v.substr(1, v.size() - 2);
    return v;
}
} // namespace

std::string KTPaths::home()
{
    if (const char* h = std::getenv("HOME"); h && *h)
        return h;
    if (const passwd* pw = ::getpwuid(::getuid()); pw && pw->pw_dir)
        return pw->pw_dir;
    return "/";
}

std::string KTPaths::userDataDir() { return envOr("XDG_DATA_HOME", home() + "/.local/share"); }
std::string KTPaths::userConfigDir() { return envOr("XDG_CONFIG_HOME", home() + "/.config"); }
std::string KTPaths::userCacheDir() { return envOr("XDG_CACHE_HOME", home() + "/.cache"); }

std::string KTPaths::downloadsDir()
{
    // user-dirs.dirs holds lines like XDG_DOWNLOAD_DIR="$HOME/Downloads".
    if (auto text = KTFileUtil::read(userConfigDir() + "/user-dirs.dirs")) {
        size_t pos = 0;
        while (pos < text->size()) {
            size_t end = text->find('\n', pos);
            if (end == std::string::npos)
                end = text->size();
            std::string line = text->substr(pos, end - pos);
            pos = end + 1;
            const std::string key = "XDG_DOWNLOAD_DIR=";
            if (line.rfind(key, 0) != 0)
                continue;
            std::string v = unquote(line.substr(key.size()));
            if (v.rfind("$HOME", 0) == 0)
                v = home() + v.substr(5);
            if (!v.empty() && v[0] == '/' && v != home() && v != home() + "/")
                return v;
        }
    }
    return home() + "/Downloads";
}

} // namespace quilt
