#include "core/config/KTRestoreManager.h"

namespace quilt {

void KTRestoreManager::save()
{
    if (json().is_object())
        json()["version"] = kVersion;
    KTManager::save();
}

void KTRestoreManager::updateToNewFormat()
{
    if (!json().is_object())
        return;
    const KTJson* v = json::lookup(json(), "version");
    if (v && v->is_number() && v->get<double>() == kVersion)
        return;
    // Old files kept a window's URLs as the values of an object.
    std::vector<std::pair<std::string, std::vector<std::string>>> converted;
    for (auto it = json().begin(); it != json().end(); ++it) {
        if (it.key().rfind("window", 0) != 0 || !it.value().is_object())
            continue;
        std::vector<std::string> urls;
        for (const auto& value : it.value())
            if (value.is_string())
                urls.push_back(value.get<std::string>());
        converted.emplace_back(it.key(), std::move(urls));
    }
    for (auto& [key, urls] : converted)
        addUrlsForKey(urls, key);
    save();
}

std::vector<std::string> KTRestoreManager::windowKeys() const
{
    std::vector<std::string> keys;
    if (!json().is_object())
        return keys;
    for (auto it = json().begin(); it != json().end(); ++it)
        if (it.key() != "version")
            keys.push_back(it.key());
    return keys;
}

KTJson* KTRestoreManager::getWindowDictionaryForKey(const std::string& key)
{
    if (key.empty() || !json().is_object())
        return nullptr;
    KTJson& window = json()[key];
    if (!window.is_object())
        window = KTJson::object();
    return &window;
}

void KTRestoreManager::addUrlsForKey(const std::vector<std::string>& urls, const std::string& key)
{
    if (urls.empty())
        return;
    if (KTJson* window = getWindowDictionaryForKey(key))
        (*window)["url"] = urls;
}

std::optional<std::vector<std::string>> KTRestoreManager::getUrlsForKey(const std::string& key)
{
    KTJson* window = getWindowDictionaryForKey(key);
    const KTJson* urls = window ? json::lookup(*window, "url") : nullptr;
    if (!urls || !urls->is_array())
        return std::nullopt;
    std::vector<std::string> out;
    for (const auto& u : *urls)
        if (u.is_string())
            out.push_back(u.get<std::string>());
    return out;
}

void KTRestoreManager::setWindowFrameStringForKey(const std::string& frame, const std::string& key)
{
    if (frame.empty())
        return;
    if (KTJson* window = getWindowDictionaryForKey(key))
        (*window)["windowFrame"] = frame;
}

std::optional<std::string> KTRestoreManager::windowsFrameString(const std::string& key)
{
    KTJson* window = getWindowDictionaryForKey(key);
    return window ? json::stringFor(*window, "windowFrame") : std::nullopt;
}

void KTRestoreManager::clear() { setJson(KTJson::object()); }

} // namespace quilt
