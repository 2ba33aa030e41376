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
    auto data = KTFileUtil::read(getPath());
    if (!data || data->empty()) {
        json_ = KTJson::object();
        return;
    }
    std::string error;
    auto parsed = json::parse(*data, &error);
    if (!parsed) {
        // A corrupt file behaves like a missing one; the next save replaces it.
        KTLog::line(error);
        json_ = KTJson::object();
        return;
    }
    // A top level that is not an object is kept as it is; lookups on it fail.
    json_ = std::move(*parsed);
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
