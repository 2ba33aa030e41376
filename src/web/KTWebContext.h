#pragma once

#include "core/config/GRef.h"
#include "core/web/KTAllowListRules.h"

#include <webkit2/webkit2.h>

#include <memory>
#include <string>

namespace quilt {

// The app's own WebKit session: website data (cookies, local storage,
// caches) under the app's data and cache folders, so two apps never share
// cookies, and the engine tuned for a single-site app (small caches, web
// processes that give memory back early).
class KTWebContext {
public:
    // The app's session, made on first use (KTShared, reset by tests once
    // no page uses it).
    static KTWebContext& shared();
    static std::unique_ptr<KTWebContext> create();
    // Each web process starts giving memory back well below this.
    static constexpr unsigned kMemoryLimitMiB = 1024;
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
    // A touchpad is attached (asked once): back/forward swipes are on only then.
    static bool hasTouchpad();
    // Spell checking loads dictionaries: done after the first page shows.
    void enableSpellChecking();

    // The folder of a bundle that holds the web process extension, and the
    // module's file name.
    static std::string webExtensionsFolder(const std::string& bundlePath);
    static constexpr const char* kWebExtensionFile = "libquilt-webext.so";
    // True when web processes load the extension, so a refused main-frame
    // address is stopped before it is requested.
    bool refusesBeforeRequest() const { return !refusedScheme_.empty(); }
    // The private scheme refused requests are sent to (empty without the
    // extension): unguessable, so no page can use it to reach the browser.
    const std::string& refusedScheme() const { return refusedScheme_; }
    // Gives the web processes the allow-list when it differs from what they
    // have; cheap when it does not.
    void shareAllowList(const KTAllowListRules& rules);

private:
    void loadWebExtension();
    void onInitializeWebExtensions();
    static void onRefusedRequest(WebKitURISchemeRequest* request, gpointer self);

    std::string dataDirectory_, cacheDirectory_;
    std::string refusedScheme_;
    KTAllowListRules sharedRules_;
    GRef<WebKitWebsiteDataManager> dataManager_;
    GRef<WebKitWebContext> context_;
};

} // namespace quilt
