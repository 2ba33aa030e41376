#include "web/KTWebContext.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"
#include "core/config/KTUUID.h"
#include "core/web/KTMainFrameGuard.h"
#include "core/web/KTWhiteListManager.h"
#include "web/KTWebViewPolicy.h"

#include <memory>

namespace quilt {

KTWebContext& KTWebContext::shared() { return KTShared<KTWebContext>::get(); }

std::unique_ptr<KTWebContext> KTWebContext::create()
{
    return std::make_unique<KTWebContext>(KTFileManager::getSettingsPath() + "WebKit",
                                          KTFileManager::getWebCachePath());
}

KTWebContext::KTWebContext(const std::string& dataDirectory, const std::string& cacheDirectory)
    : dataDirectory_(dataDirectory)
    , cacheDirectory_(cacheDirectory)
{
    KTFileUtil::makeDirectories(dataDirectory_);
    dataManager_ = GRef<WebKitWebsiteDataManager>::adopt(webkit_website_data_manager_new(
        "base-data-directory", dataDirectory_.c_str(), "base-cache-directory", cacheDirectory_.c_str(), nullptr));
    // Web processes of a site app rarely need much: past a third of
    // kMemoryLimitMiB a process drops caches, past half it drops more, and
    // none is ever killed for its size. Polled at the engine's default
    // (30 s), so an idle app is not woken more often for it.
    WebKitMemoryPressureSettings* pressure = webkit_memory_pressure_settings_new();
    webkit_memory_pressure_settings_set_memory_limit(pressure, kMemoryLimitMiB);
    webkit_memory_pressure_settings_set_conservative_threshold(pressure, 0.33);
    webkit_memory_pressure_settings_set_strict_threshold(pressure, 0.5);
    webkit_memory_pressure_settings_set_kill_threshold(pressure, 0);
    webkit_website_data_manager_set_memory_pressure_settings(pressure);
    context_ = GRef<WebKitWebContext>::adopt(WEBKIT_WEB_CONTEXT(g_object_new(
        WEBKIT_TYPE_WEB_CONTEXT, "website-data-manager", dataManager_.get(), "memory-pressure-settings", pressure, nullptr)));
    webkit_memory_pressure_settings_free(pressure);
    // One site, one user: the page cache and large memory caches of a
    // general browser cost memory for little gain here.
    webkit_web_context_set_cache_model(context_.get(), WEBKIT_CACHE_MODEL_DOCUMENT_BROWSER);
    webkit_web_context_set_favicon_database_directory(context_.get(), (cacheDirectory_ + "/icondatabase").c_str());
    webkit_cookie_manager_set_persistent_storage(cookieManager(), (dataDirectory_ + "/cookies.sqlite").c_str(),
                                                 WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
    loadWebExtension();
}

std::string KTWebContext::webExtensionsFolder(const std::string& bundlePath)
{
    return bundlePath + "/Contents/Frameworks/WebExtensions";
}

void KTWebContext::loadWebExtension()
{
    const std::string folder = webExtensionsFolder(KTBundle::main().path());
    if (!g_file_test((folder + "/" + kWebExtensionFile).c_str(), G_FILE_TEST_IS_REGULAR)) {
        KTLog::line("no web process extension in " + folder
                    + ": addresses the allow-list refuses are stopped only when they answer");
        return;
    }
    refusedScheme_ = "quilt-";
    for (char c : KTUUID::random())
        if (c != '-')
            refusedScheme_ += c;
    webkit_web_context_register_uri_scheme(context_.get(), refusedScheme_.c_str(), onRefusedRequest, this, nullptr);
    webkit_web_context_set_web_extensions_directory(context_.get(), folder.c_str());
    // Asked just before each web process starts: it starts with the list as
    // it is then.
    g_signal_connect(context_.get(), "initialize-web-extensions",
                     G_CALLBACK(+[](WebKitWebContext*, KTWebContext* self) { self->onInitializeWebExtensions(); }),
                     this);
}

void KTWebContext::onInitializeWebExtensions()
{
    shareAllowList(KTWhiteListManager::sharedManager().rules());
    webkit_web_context_set_web_extensions_initialization_user_data(
        context_.get(), g_variant_new("(s@(bbbas))", refusedScheme_.c_str(), sharedRules_.toVariant()));
}

void KTWebContext::shareAllowList(const KTAllowListRules& rules)
{
    if (refusedScheme_.empty() || rules == sharedRules_)
        return;
    sharedRules_ = rules;
    webkit_web_context_send_message_to_all_extensions(
        context_.get(), webkit_user_message_new(KTAllowListRules::kMessageName, rules.toVariant()));
}

void KTWebContext::onRefusedRequest(WebKitURISchemeRequest* request, gpointer data)
{
    auto* self = static_cast<KTWebContext*>(data);
    const char* uri = webkit_uri_scheme_request_get_uri(request);
    std::optional<std::string> refused = KTMainFrameGuard::unwrap(self->refusedScheme_, uri ? uri : "");
    // Cancelled, not failed: WebKit shows no error page and the page stays
    // where it was.
    GError* error = g_error_new_literal(WEBKIT_NETWORK_ERROR, WEBKIT_NETWORK_ERROR_CANCELLED, "handed to the browser");
    GRef<WebKitWebView> view = GRef<WebKitWebView>::retain(webkit_uri_scheme_request_get_web_view(request));
    webkit_uri_scheme_request_finish_error(request, error);
    g_error_free(error);
    if (refused && view)
        KTWebViewPolicy::forView(view.get()).refusedBeforeRequest(*refused);
}

WebKitCookieManager* KTWebContext::cookieManager() const
{
    return webkit_website_data_manager_get_cookie_manager(dataManager_.get());
}

void KTWebContext::setCookieAcceptPolicy(unsigned long policy)
{
    WebKitCookieAcceptPolicy p = WEBKIT_COOKIE_POLICY_ACCEPT_ALWAYS;
    if (policy == 1)
        p = WEBKIT_COOKIE_POLICY_ACCEPT_NEVER;
    else if (policy == 2)
        p = WEBKIT_COOKIE_POLICY_ACCEPT_NO_THIRD_PARTY;
    webkit_cookie_manager_set_accept_policy(cookieManager(), p);
}

bool KTWebContext::hasTouchpad()
{
    static const bool found = [] {
        GdkDisplay* display = gdk_display_get_default();
        GdkSeat* seat = display ? gdk_display_get_default_seat(display) : nullptr;
        if (!seat)
            return false;
        GList* devices = gdk_seat_get_slaves(seat, GDK_SEAT_CAPABILITY_ALL_POINTING);
        bool touchpad = false;
        for (GList* l = devices; l; l = l->next)
            touchpad = touchpad || gdk_device_get_source(GDK_DEVICE(l->data)) == GDK_SOURCE_TOUCHPAD;
        g_list_free(devices);
        return touchpad;
    }();
    return found;
}

WebKitSettings* KTWebContext::newSettings()
{
    WebKitSettings* settings = webkit_settings_new();
    // The web inspector is always available.
    webkit_settings_set_enable_developer_extras(settings, TRUE);
    webkit_settings_set_enable_fullscreen(settings, TRUE);
    webkit_settings_set_enable_media_stream(settings, TRUE);
    webkit_settings_set_enable_mediasource(settings, TRUE);
    webkit_settings_set_enable_webrtc(settings, TRUE);
    // Swipes need a touchpad; without one the engine would still keep an
    // image of the page for every back/forward entry (up to 400 MiB in the
    // app process) for a gesture that cannot happen.
    webkit_settings_set_enable_back_forward_navigation_gestures(settings, hasTouchpad());
    // Software rendering by default: a site app starts faster and needs about
    // 60 MiB less without a GL context per page. QUILT_HARDWARE_ACCELERATION=1
    // brings the GPU back for sites that need it (WebGL, heavy animation).
    const char* gpu = g_getenv("QUILT_HARDWARE_ACCELERATION");
    if (!gpu || g_strcmp0(gpu, "1") != 0)
        webkit_settings_set_hardware_acceleration_policy(settings, WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
    return settings;
}

void KTWebContext::enableSpellChecking()
{
    webkit_web_context_set_spell_checking_enabled(context_.get(), TRUE);
}

} // namespace quilt
