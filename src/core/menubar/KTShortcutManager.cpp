#include "core/menubar/KTShortcutManager.h"

#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"

namespace quilt {

KTShortcutManager& KTShortcutManager::sharedManager() { return KTShared<KTShortcutManager>::get(); }

std::unique_ptr<KTShortcutManager> KTShortcutManager::create()
{
    return std::make_unique<KTShortcutManager>(KTFileManager::getSettingsPath() + "/shortcuts.json");
}

KTShortcutManager::KTShortcutManager(std::string path)
    : path_(std::move(path))
{
    loadJson();
}

void KTShortcutManager::loadJson()
{
    json_ = KTJson::object();
    std::string error;
    auto data = KTFileUtil::read(path_, &error);
    if (!data) {
        if (KTFileUtil::exists(path_))
            KTLog::line("error: " + error);
        return;
    }
    if (data->empty())
        return;
    auto parsed = json::parse(*data, &error);
    if (parsed && parsed->is_object()) {
        // Only word -> text pairs mean anything; other members are dropped.
        for (auto it = parsed->begin(); it != parsed->end(); ++it)
            if (it.value().is_string() && !it.key().empty())
                json_[it.key()] = it.value();
        return;
    }
    if (parsed)
        error = "shortcuts.json is not an object";
    std::string why = "error: " + error;
    if (auto aside = KTFileUtil::setAside(path_, &error))
        KTLog::line(why + " (kept as " + *aside + ")");
    else
        KTLog::line(why + " (could not be kept: " + error + ")");
}

bool KTShortcutManager::saveJson()
{
    std::string error;
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path_));
    if (KTFileUtil::writeAtomically(path_, json::compact(json_), &error))
        return true;
    KTLog::line("error: " + error);
    return false;
}

void KTShortcutManager::setShortCutForUrl(const std::string& word, const std::string& url)
{
    if (!word.empty())
        json_[word] = url;
}

void KTShortcutManager::clearShortcuts() { json_ = KTJson::object(); }

std::optional<std::string> KTShortcutManager::findUrlForShortcut(const std::string& word) const
{
    if (word.empty())
        return std::nullopt;
    auto it = json_.find(word);
    if (it == json_.end() || !it->is_string())
        return std::nullopt;
    return it->get<std::string>();
}

std::vector<std::string> KTShortcutManager::shortcuts() const
{
    std::vector<std::string> out;
    for (auto it = json_.begin(); it != json_.end(); ++it)
        out.push_back(it.key());
    return out;
}

std::vector<std::string> KTShortcutManager::urls() const
{
    std::vector<std::string> out;
    for (auto it = json_.begin(); it != json_.end(); ++it)
        out.push_back(it.value().get<std::string>());
    return out;
}

} // namespace quilt
