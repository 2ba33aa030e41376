#include "core/web/KTWhiteListManager.h"

#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTJson.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"
#include "core/web/KTURLPattern.h"

#include <algorithm>
#include <glib.h>

namespace quilt {

KTWhiteListManager& KTWhiteListManager::sharedManager() { return KTShared<KTWhiteListManager>::get(); }

std::unique_ptr<KTWhiteListManager> KTWhiteListManager::create()
{
    return std::make_unique<KTWhiteListManager>(KTFileManager::getSettingsPath() + "/whitelist.json");
}

KTWhiteListManager::KTWhiteListManager(std::string path)
    : path_(std::move(path))
{
    loadPatterns();
}

void KTWhiteListManager::loadPatterns()
{
    auto data = KTFileUtil::read(path_);
    if (data && !data->empty()) {
        std::string error;
        if (auto parsed = json::parse(*data, &error)) {
            removeAllPatterns();
            if (const KTJson* list = json::lookup(*parsed, "pattern"); list && list->is_array())
                for (const auto& p : *list)
                    if (p.is_string())
                        addPattern(p.get<std::string>());
            allowPatterns_ = json::boolFor(*parsed, "allowPatterns");
            allowAll_ = json::boolFor(*parsed, "allowAll");
            allowSubdomains_ = json::boolFor(*parsed, "allowSubdomains");
            return;
        }
        KTLog::line(error);
    }
    // No usable file: show everything.
    removeAllPatterns();
    allowAll_ = true;
}

bool KTWhiteListManager::savePatterns()
{
    KTJson object = KTJson::object();
    object["allowAll"] = allowAll_;
    object["allowPatterns"] = allowPatterns_;
    object["pattern"] = patterns_;
    object["allowSubdomains"] = allowSubdomains_;
    std::string error;
    if (!KTFileUtil::writeAtomically(path_, json::compact(object), &error)) {
        KTLog::line(error);
        return false;
    }
    return true;
}

void KTWhiteListManager::addPattern(const std::string& pattern)
{
    if (known_.insert(pattern).second)
        patterns_.push_back(pattern);
}

void KTWhiteListManager::removePattern(const std::string& pattern)
{
    if (known_.erase(pattern))
        patterns_.erase(std::remove(patterns_.begin(), patterns_.end(), pattern), patterns_.end());
}

bool KTWhiteListManager::isUrlAllow(std::string_view url) const
{
    if (allowAll_)
        return true;
    KTURLPattern::Widen widen;
    if (allowSubdomains_)
        widen = [](std::string_view fragment) { return mainDomain(fragment); };
    for (const auto& pattern : patterns_)
        if (KTURLPattern::matches(pattern, url, widen))
            return allowPatterns_;
    return !allowPatterns_;
}

namespace {
std::vector<std::string_view> split(std::string_view text, char sep)
{
    std::vector<std::string_view> out;
    size_t start = 0;
    for (;;) {
        size_t at = text.find(sep, start);
        out.push_back(text.substr(start, at == std::string_view::npos ? text.npos : at - start));
        if (at == std::string_view::npos)
            return out;
        start = at + 1;
    }
}

std::optional<std::string> lastTwo(const std::vector<std::string_view>& labels)
{
    if (labels.size() < 3)
        return std::nullopt;
    return std::string(labels[labels.size() - 2]) + "." + std::string(labels.back());
}
} // namespace

std::optional<std::string> KTWhiteListManager::mainDomain(std::string_view fragment)
{
    if (fragment.rfind("http://", 0) == 0 || fragment.rfind("https://", 0) == 0) {
        GUri* uri = g_uri_parse(std::string(fragment).c_str(), G_URI_FLAGS_NONE, nullptr);
        if (!uri)
            return std::nullopt;
        std::string host = g_uri_get_host(uri) ? g_uri_get_host(uri) : "";
        g_uri_unref(uri);
        return lastTwo(split(host, '.'));
    }
    return lastTwo(split(fragment, '.'));
}

} // namespace quilt
