#include "core/config/KTManager.h"

#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"

#include <thread>
#include <vector>

namespace quilt {

// What reading a store's file found.
struct KTManager::Loaded {
    enum class Kind { Empty, Parsed, Unusable } kind = Kind::Empty;
    KTJson value;
    std::string error;
};

struct KTManager::Load {
    std::thread worker;
    Loaded loaded; // written by the worker, read after joining it
    std::vector<std::function<void(KTJson&)>> changes;
};

KTManager::KTManager(std::string fileName)
    : fileName_(std::move(fileName))
{
}

KTManager::~KTManager()
{
    if (load_ && load_->worker.joinable())
        load_->worker.join();
}

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

KTManager::Loaded KTManager::read(const std::string& path)
{
    Loaded loaded;
    auto data = KTFileUtil::read(path, &loaded.error);
    if (!data && KTFileUtil::exists(path)) {
        loaded.kind = Loaded::Kind::Unusable;
        return loaded;
    }
    if (!data || data->empty())
        return loaded;
    auto parsed = json::parse(*data, &loaded.error);
    if (!parsed) {
        loaded.kind = Loaded::Kind::Unusable;
        return loaded;
    }
    // A top level that is not an object is kept as it is; lookups on it fail.
    loaded.kind = Loaded::Kind::Parsed;
    loaded.value = std::move(*parsed);
    return loaded;
}

void KTManager::takeIn(Loaded loaded)
{
    switch (loaded.kind) {
    case Loaded::Kind::Empty:
        json_ = KTJson::object();
        break;
    case Loaded::Kind::Unusable:
        setAside(loaded.error);
        break;
    case Loaded::Kind::Parsed:
        json_ = std::move(loaded.value);
        break;
    }
}

void KTManager::loadJson()
{
    finishLoading();
    takeIn(read(getPath()));
}

void KTManager::loadInBackground()
{
    finishLoading();
    load_ = std::make_unique<Load>();
    load_->worker = std::thread([load = load_.get(), path = getPath()] { load->loaded = read(path); });
}

void KTManager::finishLoading() const
{
    if (!load_)
        return;
    // Taken out first: what runs below may use json() again.
    std::unique_ptr<Load> load = std::move(load_);
    load->worker.join();
    auto* self = const_cast<KTManager*>(this);
    self->takeIn(std::move(load->loaded));
    self->loadValues();
    self->updateToNewFormat();
    for (auto& change : load->changes)
        change(self->json_);
}

void KTManager::whenLoaded(std::function<void(KTJson&)> change)
{
    if (load_)
        load_->changes.push_back(std::move(change));
    else
        change(json_);
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
    finishLoading();
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
