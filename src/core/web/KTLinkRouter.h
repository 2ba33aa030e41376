#pragma once

#include "core/web/KTAllowListRules.h"

#include <ctime>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// Finds, among the apps of the version registry, the one whose allow-list
// claims an address this app refuses, so that a chat link clicked in the
// mail app opens in the chat app rather than the browser. An app claims an
// address only through its patterns: an app that allows everything, or lists
// only what it refuses, claims nothing. The app itself and apps whose bundle
// is gone are never chosen. Files are read again only when they change.
class KTLinkRouter {
public:
    // `registryPath`: the version registry ("~/.QVT/.update"); `selfBundle`:
    // the running app's bundle, never chosen.
    KTLinkRouter(std::string registryPath, std::string selfBundle);

    // The bundle path of the first app (in registry order) that claims url.
    std::optional<std::string> appFor(std::string_view url);

private:
    struct FileStamp {
        bool exists = false;
        timespec mtime {};
        off_t size = 0;
        bool operator==(const FileStamp& o) const
        {
            return exists == o.exists && mtime.tv_sec == o.mtime.tv_sec && mtime.tv_nsec == o.mtime.tv_nsec
                && size == o.size;
        }
    };
    static FileStamp stampOf(const std::string& path);
    const std::vector<std::string>& registeredBundles();
    std::optional<KTAllowListRules> allowListOf(const std::string& bundlePath);

    std::string registryPath_, selfBundle_;
    std::optional<std::string> selfId_;
    FileStamp registryStamp_;
    std::vector<std::string> bundles_;
    struct CachedList {
        FileStamp stamp;
        std::optional<KTAllowListRules> rules;
    };
    std::map<std::string, CachedList> lists_; // by allow-list file
};

} // namespace quilt
