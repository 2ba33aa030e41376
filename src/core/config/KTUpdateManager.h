#pragma once

#include "core/config/KTStore.h"

#include <functional>
#include <glib.h>
#include <string>
#include <thread>

namespace quilt {

// The per-user version registry "~/.QVT/.update" shared by every app made
// from the template: bundle path -> template version. It can bring
// registered apps up to the running template's version.
//
// Updates run on background threads; every change to the registry is made
// on the thread that created the manager (the main thread), through its
// main context, so the registry is never touched concurrently.
class KTUpdateManager : public KTStore<KTUpdateManager> {
public:
    explicit KTUpdateManager(Key);
    ~KTUpdateManager() override;

    // Outside the data folder, so every app shares it; made on first use.
    std::string getPath() override;
    // Every app shares the file: one that cannot read it (no permission, not
    // a regular file) leaves it alone for this run instead of saving its own
    // entry over the others'.
    void loadJson() override;

    // Registers the bundle with the running version unless already present.
    void addUpdatePath(const std::string& bundlePath);
    // Queues an update of every registered app older than the running
    // template; returns how many were queued. The new versions reach the
    // file only with the next save.
    int checkForUpdate();
    // Updates one app from the template "DefaultApp.app" in the running
    // bundle's resources; false at the first failure.
    bool updateToVersion(const std::string& bundlePath, const std::string& version);

    // Called on the main thread after each queued update has been applied to
    // the registry (tests and tools wait on it).
    std::function<void(const std::string& path, bool ok)> onUpdateFinished;
    int pendingOperations() const { return pending_; }

    // The running template's version ("CFBundleShortVersionString").
    static std::string runningVersion();

private:
    void onMainThread(std::function<void()> work);

    std::string path_;
    std::thread::id mainThread_;
    GMainContext* context_;
    GThreadPool* pool_ = nullptr;
    int pending_ = 0;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace quilt
