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
    std::unique_ptr<Contents> contents;
    std::string error;
};

struct KTManager::Load {
    std::thread worker;
    Loaded loaded; // written by the worker, read after joining it
    std::vector<std::function<void()>> changes;
};

struct KTManager::JsonContents : Contents {
    KTJson value;
};

namespace {
// Room after a file's bytes, so that a parser needing padding (simdjson's
// 64 bytes) can read them in place.
constexpr size_t kReadPadding = 64;
} // namespace

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

KTManager::Loaded KTManager::read(const std::string& path, Parser parse)
{
    Loaded loaded;
    auto data = KTFileUtil::read(path, &loaded.error, KTFileUtil::kMaxReadSize, kReadPadding);
    if (!data && KTFileUtil::exists(path)) {
        loaded.kind = Loaded::Kind::Unusable;
        return loaded;
    }
    if (!data || data->empty())
        return loaded;
    loaded.contents = parse(*data, &loaded.error);
    loaded.kind = loaded.contents ? Loaded::Kind::Parsed : Loaded::Kind::Unusable;
    return loaded;
}

std::unique_ptr<KTManager::Contents> KTManager::parseJson(std::string& text, std::string* error)
{
    auto parsed = json::parse(text, error);
    if (!parsed)
        return nullptr;
    // A top level that is not an object is kept as it is; lookups on it fail.
    auto contents = std::make_unique<JsonContents>();
    contents->value = std::move(*parsed);
    return contents;
}

KTManager::Parser KTManager::parser() const { return &parseJson; }

void KTManager::adopt(std::unique_ptr<Contents> contents)
{
    if (contents)
        json_ = std::move(static_cast<JsonContents&>(*contents).value);
    else
        json_ = KTJson::object();
}

void KTManager::takeIn(Loaded loaded)
{
    switch (loaded.kind) {
    case Loaded::Kind::Empty:
        adopt(nullptr);
        break;
    case Loaded::Kind::Unusable:
        setAside(loaded.error);
        break;
    case Loaded::Kind::Parsed:
        adopt(std::move(loaded.contents));
        break;
    }
}

void KTManager::loadJson()
{
    finishLoading();
    takeIn(read(getPath(), parser()));
}

void KTManager::loadInBackground()
{
    finishLoading();
    load_ = std::make_unique<Load>();
    load_->worker = std::thread([load = load_.get(), path = getPath(), parse = parser()] {
        load->loaded = read(path, parse);
    });
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
        change();
}

void KTManager::afterLoading(std::function<void()> change)
{
    if (load_)
        load_->changes.push_back(std::move(change));
    else
        change();
}

void KTManager::setAside(const std::string& why)
{
    // A file that cannot be used behaves like a missing one, but it is moved
    // out of the way first: the next save must not overwrite what the user
    // may still recover.
    adopt(nullptr);
    std::string error;
    if (auto aside = KTFileUtil::setAside(getPath(), &error))
        KTLog::line(why + " (kept as " + *aside + ")");
    else
        KTLog::line(why + " (could not be kept: " + error + ")");
}

std::optional<std::string> KTManager::serialized() const
{
    if (json_.is_null())
        return std::nullopt;
    try {
        return json::compact(json_);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

void KTManager::save()
{
    finishLoading();
    auto data = serialized();
    if (!data)
        return;
    if (KTLog::debugEnabled())
        KTLog::debug(*data);
    KTFileUtil::writeAtomically(getPath(), *data);
}

} // namespace quilt
