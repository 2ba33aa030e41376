#pragma once

#include "core/config/GRef.h"

#include <webkit2/webkit2.h>

#include <memory>
#include <string>

namespace quilt {

// The app's own WebKit session: website data (cookies, local storage,
// caches) under the app's data and cache folders, so two apps never share
// cookies, and the engine tuned for a single-site app (small caches, one
// shared web process).
class KTWebContext {
public:
    // The app's session, made on first use (KTShared, reset by tests once
    // no page uses it).
    static KTWebContext& shared();
    static std::unique_ptr<KTWebContext> create();
    // For tests: a session rooted at explicit folders.
    KTWebContext(const std::string& dataDirectory, const std::string& cacheDirectory);
    KTWebContext(const KTWebContext&) = delete;
    KTWebContext& operator=(const KTWebContext&) = delete;

    WebKitWebContext* context() const { return context_.get(); }
    WebKitWebsiteDataManager* dataManager() const { return dataManager_.get(); }
    WebKitCookieManager* cookieManager() const;
    const std::string& dataDirectory() const { return dataDirectory_; }
    const std::string& cacheDirectory() const { return cacheDirectory_; }

    // "allowCookies": 0 always, 1 never, 2 only from the main document's domain.
    void setCookieAcceptPolicy(unsigned long policy);
    // Settings for a new page, with the engine defaults this app relies on.
    static WebKitSettings* newSettings();
    // Spell checking loads dictionaries: done after the first page shows.
    void enableSpellChecking();

private:
    std::string dataDirectory_, cacheDirectory_;
    GRef<WebKitWebsiteDataManager> dataManager_;
    GRef<WebKitWebContext> context_;
};

} // namespace quilt
