#pragma once

#include "core/config/GRef.h"
#include "core/config/KTSignal.h"

#include <webkit2/webkit2.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilt {

// The app's side of one web view: its context menu opens links in a new
// tab and hands downloads to the app's download queue, and it reaches the
// find functions of the page script "WebViewSearchExt".
class KTWebView {
public:
    explicit KTWebView(WebKitWebView* view);
    ~KTWebView();
    KTWebView(const KTWebView&) = delete;
    KTWebView& operator=(const KTWebView&) = delete;

    // What the page's context menu offers, by the engine's stock actions.
    void willOpenMenu(WebKitContextMenu* menu, WebKitHitTestResult* hit);
    void openLinkInNewtab(const std::string& url);
    void downloadImage(const std::string& url);
    void download(const std::string& url);

    // The number of matches goes to `done` (0 when the page cannot say).
    void highlightAllOccurencesOfString(const std::string& text, std::function<void(long)> done);
    void scrollTo(long index);
    void removeAllHighlights();

private:
    void evaluate(const std::string& script, std::function<void(JSCValue*)> done = nullptr);
    GSimpleAction* addAction(const char* name, void (KTWebView::*run)(const std::string&));

    WebKitWebView* view_;
    std::vector<GRef<GSimpleAction>> actions_;
    std::vector<KTSignal> signals_;
    std::shared_ptr<bool> alive_ = std::make_shared<bool>(true);
};

} // namespace quilt
