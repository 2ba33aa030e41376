#pragma once

#include "core/config/GRef.h"
#include "core/config/KTSignal.h"

#include <gio/gio.h>

#include <functional>

namespace quilt {

class KTWebViewController;

// Runs the unread watcher of KTScriptManager: every few seconds the script
// for the selected page's host (when it is one of the watched services)
// runs in that page, and its result goes back to KTScriptManager. Pages
// of any other host cost a host comparison per pass.
class KTUnreadWatcher {
public:
    // The selected page of the front main window, or none.
    using PageProvider = std::function<KTWebViewController*()>;

    explicit KTUnreadWatcher(PageProvider selectedPage);
    ~KTUnreadWatcher();
    KTUnreadWatcher(const KTUnreadWatcher&) = delete;
    KTUnreadWatcher& operator=(const KTUnreadWatcher&) = delete;

    // The design's timer: started once, runs for the life of the watcher.
    void setup();
    // One pass now (the timer's action).
    void injectScripts();

private:
    static void onResult(GObject* view, GAsyncResult* result, gpointer data);

    PageProvider selectedPage_;
    GRef<GCancellable> cancellable_;
    KTSource injectTimer_;
};

} // namespace quilt
