#include "core/config/KTUpdateManager.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTMainContext.h"
#include "core/config/KTPaths.h"
#include "core/config/KTPlist.h"
#include "core/config/KTVersion.h"

namespace quilt {

namespace {
struct Job {
    KTUpdateManager* manager;
    std::string path;
    std::string version;
};
} // namespace

KTUpdateManager::KTUpdateManager(Key)
    : mainThread_(std::this_thread::get_id())
    , context_(g_main_context_ref_thread_default())
{
    pool_ = g_thread_pool_new(
        [](gpointer data, gpointer) {
            std::unique_ptr<Job> job(static_cast<Job*>(data));
            KTUpdateManager* self = job->manager;
            bool ok = self->updateToVersion(job->path, job->version);
            self->onMainThread([self, path = job->path, version = job->version, ok] {
                if (ok && self->json().is_object())
                    self->json()[path] = version;
                --self->pending_;
                if (self->onUpdateFinished)
                    self->onUpdateFinished(path, ok);
            });
        },
        nullptr, 2, FALSE, nullptr);
}

KTUpdateManager::~KTUpdateManager()
{
    // Let running updates finish: a half-copied bundle is worse than a wait.
    if (pool_)
        g_thread_pool_free(pool_, FALSE, TRUE);
    // Registry changes still queued for the main context are dropped with us.
    while (g_main_context_pending(context_) && pending_ > 0 && mainThread_ == std::this_thread::get_id())
        g_main_context_iteration(context_, FALSE);
    g_main_context_unref(context_);
}

std::string KTUpdateManager::getPath()
{
    if (path_.empty()) {
        std::string folder = KTPaths::home() + "/.QVT";
        std::string error;
        if (!KTFileUtil::makeDirectories(folder, &error))
            KTLog::line("error:" + error);
        path_ = folder + "/.update";
    }
    return path_;
}

void KTUpdateManager::loadJson()
{
    const std::string path = getPath();
    std::string error;
    if (KTFileUtil::exists(path) && !KTFileUtil::read(path, &error)) {
        KTLog::line(error + "; the app registry is left as it is");
        setJson(nullptr);
        return;
    }
    KTManager::loadJson();
}

std::string KTUpdateManager::runningVersion() { return KTBundle::main().shortVersion(); }

void KTUpdateManager::addUpdatePath(const std::string& bundlePath)
{
    if (!json().is_object() || json().contains(bundlePath))
        return;
    json()[bundlePath] = runningVersion();
    save();
}

int KTUpdateManager::checkForUpdate()
{
    if (!json().is_object())
        return 0;
    const std::string current = runningVersion();
    int queued = 0;
    for (auto it = json().begin(); it != json().end(); ++it) {
        std::string version;
        if (it.value().is_string())
            version = it.value().get<std::string>();
        else if (it.value().is_number_float())
            version = KTJson(it.value()).dump(); // e.g. 1.5 -> "1.5"
        else if (it.value().is_number())
            version = std::to_string(it.value().get<int64_t>());
        if (KTVersion::compare(version, current) >= 0)
            continue;
        ++pending_;
        ++queued;
        g_thread_pool_push(pool_, new Job{this, it.key(), current}, nullptr);
    }
    return queued;
}

void KTUpdateManager::onMainThread(std::function<void()> work)
{
    if (std::this_thread::get_id() == mainThread_) {
        work();
        return;
    }
    // Dropped when the manager is gone by the time the main loop gets to it.
    KTMainContext::post(context_, [alive = std::weak_ptr<bool>(alive_), work = std::move(work)] {
        if (!alive.expired())
            work();
    });
}

bool KTUpdateManager::updateToVersion(const std::string& bundlePath, const std::string& version)
{
    if (!KTFileUtil::exists(bundlePath)) {
        onMainThread([this, bundlePath] {
            if (json().is_object())
                json().erase(bundlePath);
        });
        return false;
    }
    const std::string source = KTBundle::main().resourcePath() + "/DefaultApp.app";
    const std::string sourceExecutable = source + "/Contents/MacOS/DefaultApp";

    const std::string plistPath = bundlePath + "/Contents/Info.plist";
    auto info = KTPlist::readFile(plistPath);
    KTJson dict = (info && info->is_object()) ? std::move(*info) : KTJson::object();
    dict["CFBundleShortVersionString"] = version;
    KTJson ats = KTJson::object();
    if (const KTJson* old = json::lookup(dict, "NSAppTransportSecurity"); old && old->is_object())
        ats = *old;
    ats.erase("NSAllowsArbitraryLoadsInWebContent");
    dict["NSAppTransportSecurity"] = ats;
    if (!KTPlist::writeFile(plistPath, dict)) {
        KTLog::line("Cannot update plist");
        return false;
    }

    std::string executable = json::stringFor(dict, "CFBundleExecutable").value_or("DefaultApp");
    const std::string target = bundlePath + "/Contents/MacOS/" + executable;
    std::string error;
    // The old binary is unlinked first, so a running copy keeps its inode.
    bool ok = KTFileUtil::removeTree(target, &error) && KTFileUtil::copyTree(sourceExecutable, target, &error)
        && KTFileUtil::removeTree(bundlePath + "/Contents/Frameworks", &error)
        && KTFileUtil::copyTree(source + "/Contents/Frameworks", bundlePath + "/Contents/Frameworks", &error)
        && KTFileUtil::removeTree(bundlePath + "/Contents/Resources/Base.lproj", &error)
        && KTFileUtil::copyTree(source + "/Contents/Resources/Base.lproj",
                                bundlePath + "/Contents/Resources/Base.lproj", &error);
    if (!ok) {
        KTLog::line("error = " + error);
        return false;
    }
    return true;
}

} // namespace quilt
