#include "core/config/KTManager.h"

#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"

namespace quilt {

void KTManager::init()
{
    loadJson();
    loadValues();
    updateToNewFormat();
}

std::string KTManager::dataFilePath(const std::string& fileName)
{
    return KTFileManager::getSettingsPath() + "/" + fileName;
}

std::string KTManager::getPath()
{
    if (path_.empty() && !fileName_.empty())
        path_ = dataFilePath(fileName_);
    return path_;
}

void KTManager::loadJson()
{
    const std::string path = getPath();
    std::string error;
    auto data = KTFileUtil::read(path, &error);
    if (!data && KTFileUtil::exists(path)) {
        setAside(error);
        return;
    }
    if (!data || data->empty()) {
        json_ = KTJson::object();
        return;
    }
    auto parsed = json::parse(*data, &error);
    if (!parsed) {
        setAside(error);
        return;
    }
    // A top level that is not an object is kept as it is; lookups on it fail.
    json_ = std::move(*parsed);
}

void KTManager::setAside(const std::string& why)
{
    // A file that cannot be used behaves like a missing one, but it is moved
    // out of the way first: the next save must not overwrite what the user
    // may still recover.
    json_ = KTJson::object();
    std::string error;
    if (auto aside = KTFileUtil::setAside(getPath(), &error))
        KTLog::line(why + " (kept as " + *aside + ")");
    else
        KTLog::line(why + " (could not be kept: " + error + ")");
}

void KTManager::save()
{
    if (json_.is_null())
        return;
    if (KTLog::debugEnabled())
        KTLog::debug(json::compact(json_));
    std::string data;
    try {
        data = json::compact(json_);
    } catch (const std::exception&) {
        return;
    }
    KTFileUtil::writeAtomically(getPath(), data);
}

} // namespace quilt
