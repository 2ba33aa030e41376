#include "web/KTWebKitDownload.h"

#include "core/config/KTLog.h"
#include "web/KTWebContext.h"
#include "web/KTWebManager.h"

#include <glib/gstdio.h>

namespace quilt {

KTWebKitDownload::KTWebKitDownload(std::string path, std::string url, std::string fileName, WebKitWebView* page)
    : KTDownloadOperation(std::move(path), std::move(url), std::move(fileName))
{
    g_weak_ref_init(&page_, page);
    setProgressHandler([this](double) { notify(); });
}

KTWebKitDownload::KTWebKitDownload(std::string path, std::string url, std::string fileName, WebKitDownload* waiting)
    : KTDownloadOperation(std::move(path), std::move(url), std::move(fileName))
    , download_(GRef<WebKitDownload>::retain(waiting))
    , waiting_(true)
{
    g_weak_ref_init(&page_, nullptr);
    setProgressHandler([this](double) { notify(); });
    // Watched from now on: the server may give up while the download waits.
    attach();
}

KTWebKitDownload::~KTWebKitDownload()
{
    const bool unfinished = state() == State::Running || waiting_;
    signals_.clear();
    if (download_ && unfinished) {
        webkit_download_cancel(download_.get());
        removePart();
    }
    g_weak_ref_clear(&page_);
}

void KTWebKitDownload::attach()
{
    WebKitDownload* d = download_.get();
    signals_.emplace_back(d, "decide-destination",
                          G_CALLBACK(+[](WebKitDownload*, const char*, KTWebKitDownload* self) -> gboolean {
                              self->onDecideDestination();
                              return TRUE;
                          }),
                          this);
    signals_.emplace_back(d, "received-data", G_CALLBACK(+[](WebKitDownload*, guint64, KTWebKitDownload* self) {
                              self->onReceivedData();
                          }),
                          this);
    signals_.emplace_back(d, "failed", G_CALLBACK(+[](WebKitDownload*, GError* error, KTWebKitDownload* self) {
                              self->onFailed(error);
                          }),
                          this);
    signals_.emplace_back(d, "finished", G_CALLBACK(+[](WebKitDownload*, KTWebKitDownload* self) {
                              self->onFinished();
                          }),
                          this);
}

void KTWebKitDownload::startTransfer()
{
    if (download_) {
        // A transfer handed over by a page: it only waited for its place.
        waiting_ = false;
        if (failed_) {
            didFail("error: the server ended the download before it started");
            return;
        }
        webkit_download_set_allow_overwrite(download_.get(), TRUE);
        webkit_download_set_destination(download_.get(), partPath().c_str());
        return;
    }
    GRef<WebKitWebView> page = GRef<WebKitWebView>::adopt(static_cast<WebKitWebView*>(g_weak_ref_get(&page_)));
    {
        KTWebManager::OwnTransfer own(KTWebManager::sharedManager());
        WebKitDownload* d = page ? webkit_web_view_download_uri(page.get(), url().c_str())
                                 : webkit_web_context_download_uri(KTWebContext::shared().context(), url().c_str());
        download_ = GRef<WebKitDownload>::adopt(d);
    }
    attach();
}

void KTWebKitDownload::cancelTransfer()
{
    if (download_)
        webkit_download_cancel(download_.get());
    removePart();
    notify();
}

void KTWebKitDownload::cancel()
{
    const bool waitingInQueue = state() == State::Queued && waiting_;
    cancelDownload();
    if (waitingInQueue && download_) {
        // Never started: the engine still holds it open for a destination.
        waiting_ = false;
        webkit_download_cancel(download_.get());
    }
    notify();
}

void KTWebKitDownload::onDecideDestination()
{
    // A handed-over transfer has had its dialog; ours asks nothing.
    if (waiting_)
        return;
    webkit_download_set_allow_overwrite(download_.get(), TRUE);
    webkit_download_set_destination(download_.get(), partPath().c_str());
}

void KTWebKitDownload::onReceivedData()
{
    WebKitDownload* d = download_.get();
    std::optional<uint64_t> expected;
    if (WebKitURIResponse* response = webkit_download_get_response(d))
        if (guint64 length = webkit_uri_response_get_content_length(response))
            expected = length;
    didReceiveData(webkit_download_get_received_data_length(d), expected);
}

void KTWebKitDownload::onFailed(const GError* error)
{
    failed_ = true;
    if (state() == State::Running || state() == State::Canceled)
        removePart();
    didFail(std::string("error: ") + (error ? error->message : "download failed"));
    notify();
}

void KTWebKitDownload::onFinished()
{
    // WebKit also reports "finished" after a failure.
    if (failed_ || state() != State::Running)
        return;
    if (g_rename(partPath().c_str(), path().c_str()) != 0) {
        int err = errno;
        KTLog::line("error: cannot move " + partPath() + " to " + path() + ": " + g_strerror(err));
        removePart();
        didFail("error: download not saved");
        notify();
        return;
    }
    didFinish();
}

void KTWebKitDownload::removePart()
{
    g_remove(partPath().c_str());
}

size_t KTWebKitDownload::addObserver(Observer observer)
{
    size_t id = nextObserver_++;
    observers_.emplace(id, std::move(observer));
    return id;
}

void KTWebKitDownload::removeObserver(size_t id) { observers_.erase(id); }

void KTWebKitDownload::notify()
{
    // A copy: an observer may remove itself (its row goes) while called.
    auto observers = observers_;
    for (auto& [id, fn] : observers)
        if (observers_.count(id))
            fn();
}

} // namespace quilt
