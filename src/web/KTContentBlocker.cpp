#include "web/KTContentBlocker.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"

#include <memory>

namespace quilt {

namespace {
// The store's answer after the blocker went (a reset by a test) is dropped.
bool cancelled(const GError* error) { return g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED); }
} // namespace

KTContentBlocker& KTContentBlocker::shared() { return KTShared<KTContentBlocker>::get(); }

std::unique_ptr<KTContentBlocker> KTContentBlocker::create()
{
    return std::make_unique<KTContentBlocker>(KTFileManager::getWebCachePath() + "/ContentRules",
                                              KTBundle::main().pathForResource("rules", "json"));
}

KTContentBlocker::KTContentBlocker(std::string storePath, std::string rulesPath)
    : rulesPath_(std::move(rulesPath))
    , store_(GRef<WebKitUserContentFilterStore>::adopt(webkit_user_content_filter_store_new(storePath.c_str())))
    , cancellable_(GRef<GCancellable>::adopt(g_cancellable_new()))
{
}

KTContentBlocker::~KTContentBlocker()
{
    g_cancellable_cancel(cancellable_.get());
    // Pages that use the filter hold their own references.
    if (filter_)
        webkit_user_content_filter_unref(filter_);
}

void KTContentBlocker::lookup(Ready ready)
{
    if (resolved_) {
        ready(filter_);
        return;
    }
    waiting_.push_back(std::move(ready));
    if (busy_)
        return;
    busy_ = true;
    webkit_user_content_filter_store_load(
        store_.get(), kIdentifier, cancellable_.get(),
        [](GObject* source, GAsyncResult* result, gpointer data) {
            GError* error = nullptr;
            WebKitUserContentFilter* filter = webkit_user_content_filter_store_load_finish(
                WEBKIT_USER_CONTENT_FILTER_STORE(source), result, &error);
            const bool gone = cancelled(error);
            g_clear_error(&error);
            if (gone)
                return;
            auto* self = static_cast<KTContentBlocker*>(data);
            if (filter)
                self->finish(filter);
            else
                self->compile();
        },
        this);
}

void KTContentBlocker::compile()
{
    std::string error;
    auto rules = rulesPath_.empty() ? std::nullopt : KTFileUtil::read(rulesPath_, &error);
    if (!rules) {
        KTLog::line("error: no content rules: " + (rulesPath_.empty() ? std::string("rules.json missing") : error));
        finish(nullptr);
        return;
    }
    GBytes* bytes = g_bytes_new(rules->data(), rules->size());
    webkit_user_content_filter_store_save(
        store_.get(), kIdentifier, bytes, cancellable_.get(),
        [](GObject* source, GAsyncResult* result, gpointer data) {
            GError* error = nullptr;
            WebKitUserContentFilter* filter = webkit_user_content_filter_store_save_finish(
                WEBKIT_USER_CONTENT_FILTER_STORE(source), result, &error);
            if (cancelled(error)) {
                g_error_free(error);
                return;
            }
            auto* self = static_cast<KTContentBlocker*>(data);
            if (error) {
                // A broken rule file never blocks a page: it loads unfiltered.
                KTLog::line(std::string("error: ") + error->message);
                g_error_free(error);
            }
            self->finish(filter);
        },
        this);
    g_bytes_unref(bytes);
}

void KTContentBlocker::finish(WebKitUserContentFilter* filter)
{
    filter_ = filter;
    resolved_ = true;
    busy_ = false;
    auto waiting = std::move(waiting_);
    waiting_.clear();
    for (auto& ready : waiting)
        ready(filter_);
}

} // namespace quilt
