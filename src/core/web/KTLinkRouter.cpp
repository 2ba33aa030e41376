#include "core/web/KTLinkRouter.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTJson.h"
#include "core/config/KTPaths.h"
#include "core/web/KTWhiteListManager.h"

#include <sys/stat.h>
#include <unistd.h>

namespace quilt {

namespace {

std::string canonical(const std::string& path)
{
    char* real = ::realpath(path.c_str(), nullptr);
    std::string out = real ? real : path;
    ::free(real);
    return out;
}

bool isWebAddress(std::string_view url)
{
    return url.rfind("http://", 0) == 0 || url.rfind("https://", 0) == 0;
}

} // namespace

KTLinkRouter::KTLinkRouter(std::string registryPath, std::string selfBundle)
    : registryPath_(std::move(registryPath)), selfBundle_(canonical(selfBundle)),
      selfId_(KTBundle(selfBundle).uniqueIdentifier())
{
}

KTLinkRouter::FileStamp KTLinkRouter::stampOf(const std::string& path)
{
    struct stat st {};
    FileStamp stamp;
    if (::stat(path.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
        stamp.exists = true;
        stamp.mtime = st.st_mtim;
        stamp.size = st.st_size;
    }
    return stamp;
}

const std::vector<std::string>& KTLinkRouter::registeredBundles()
{
    const FileStamp stamp = stampOf(registryPath_);
    if (stamp == registryStamp_ && !bundles_.empty())
        return bundles_;
    registryStamp_ = stamp;
    bundles_.clear();
    auto text = stamp.exists ? KTFileUtil::read(registryPath_) : std::nullopt;
    auto registry = text ? json::parse(*text) : std::nullopt;
    if (registry && registry->is_object())
        for (const auto& [path, version] : registry->items())
            bundles_.push_back(path);
    return bundles_;
}

std::optional<KTAllowListRules> KTLinkRouter::allowListOf(const std::string& bundlePath)
{
    const auto id = KTBundle(bundlePath).uniqueIdentifier();
    // Ids become folder names: one that could leave the data folder is not read.
    if (!id || id->empty() || id->find('/') != std::string::npos || (*id)[0] == '.')
        return std::nullopt;
    if (selfId_ && *id == *selfId_)
        return std::nullopt; // a copy of this very app
    const std::string file = KTPaths::userDataDir() + "/Quilt/" + *id + "/whitelist.json";
    const FileStamp stamp = stampOf(file);
    auto& cached = lists_[file];
    if (!(cached.stamp == stamp) || !stamp.exists) {
        cached.stamp = stamp;
        cached.rules = stamp.exists ? std::optional(KTWhiteListManager(file).rules()) : std::nullopt;
    }
    return cached.rules;
}

std::optional<std::string> KTLinkRouter::appFor(std::string_view url)
{
    if (!isWebAddress(url))
        return std::nullopt;
    for (const auto& bundle : registeredBundles()) {
        if (canonical(bundle) == selfBundle_)
            continue;
        if (::access(KTBundle(bundle).executablePath().c_str(), X_OK) != 0)
            continue; // removed or moved away since it last ran
        auto rules = allowListOf(bundle);
        if (rules && !rules->allowAll && rules->allowPatterns && !rules->patterns.empty() && rules->isUrlAllow(url))
            return bundle;
    }
    return std::nullopt;
}

} // namespace quilt
