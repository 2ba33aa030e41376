#include "core/web/KTWhiteListManager.h"

#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTJson.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"

#include <algorithm>

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
            rules_.allowPatterns = json::boolFor(*parsed, "allowPatterns");
            rules_.allowAll = json::boolFor(*parsed, "allowAll");
            rules_.allowSubdomains = json::boolFor(*parsed, "allowSubdomains");
            return;
        }
        KTLog::line(error);
    }
    // No usable file: show everything.
    removeAllPatterns();
    rules_.allowAll = true;
}

bool KTWhiteListManager::savePatterns()
{
    KTJson object = KTJson::object();
    object["allowAll"] = rules_.allowAll;
    object["allowPatterns"] = rules_.allowPatterns;
    object["pattern"] = rules_.patterns;
    object["allowSubdomains"] = rules_.allowSubdomains;
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
        rules_.patterns.push_back(pattern);
}

void KTWhiteListManager::removePattern(const std::string& pattern)
{
    auto& list = rules_.patterns;
    if (known_.erase(pattern))
        list.erase(std::remove(list.begin(), list.end(), pattern), list.end());
}

} // namespace quilt
