#pragma once

#include "core/config/GRef.h"
#include "core/config/KTSignal.h"
#include "core/services/KTDownloadOperation.h"

#include <webkit2/webkit2.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace quilt {

// A download carried out by WebKit's network process, which streams the
// body to disk, so a file of any size costs this process no memory. The
// data goes to "<path>.part" next to the target and is renamed to the path
// only when complete; a cancelled or failed download leaves nothing behind.
class KTWebKitDownload : public KTDownloadOperation {
public:
    // Fetches url when the queue starts it, through the page's session (the
    // site's cookies apply), or through the app's session when the page is
    // gone by then.
    KTWebKitDownload(std::string path, std::string url, std::string fileName, WebKitWebView* page);
    // Takes over a transfer WebKit already started (a response the page
    // saves), held at its "decide-destination" until the queue starts it.
    KTWebKitDownload(std::string path, std::string url, std::string fileName, WebKitDownload* waiting);
    ~KTWebKitDownload() override;

    std::string partPath() const { return path() + ".part"; }
    WebKitDownload* webkitDownload() const { return download_.get(); }

    // The downloads list's cancel: also releases a transfer still waiting
    // in the queue, which the base class would not touch.
    void cancel();

    // Called after every change of state or progress (rows of the list).
    using Observer = std::function<void()>;
    size_t addObserver(Observer observer);
    void removeObserver(size_t id);

protected:
    void startTransfer() override;
    void cancelTransfer() override;

private:
    void attach();
    void onDecideDestination();
    void onReceivedData();
    void onFailed(const GError* error);
    void onFinished();
    void removePart();
    void notify();

    GRef<WebKitDownload> download_;
    GWeakRef page_;
    bool waiting_ = false; // a taken-over transfer not yet given its destination
    bool failed_ = false;
    std::vector<KTSignal> signals_;
    std::map<size_t, Observer> observers_;
    size_t nextObserver_ = 1;
};

} // namespace quilt
