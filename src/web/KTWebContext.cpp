#include "web/KTWebContext.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTShared.h"

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
    context_ = GRef<WebKitWebContext>::adopt(webkit_web_context_new_with_website_data_manager(dataManager_.get()));
    // One site, one user: the page cache and large memory caches of a
    // general browser cost memory for little gain here.
    webkit_web_context_set_cache_model(context_.get(), WEBKIT_CACHE_MODEL_DOCUMENT_BROWSER);
    webkit_web_context_set_favicon_database_directory(context_.get(), (cacheDirectory_ + "/icondatabase").c_str());
    webkit_cookie_manager_set_persistent_storage(cookieManager(), (dataDirectory_ + "/cookies.sqlite").c_str(),
                                                 WEBKIT_COOKIE_PERSISTENT_STORAGE_SQLITE);
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

WebKitSettings* KTWebContext::newSettings()
{
    WebKitSettings* settings = webkit_settings_new();
    // The web inspector is always available.
    webkit_settings_set_enable_developer_extras(settings, TRUE);
    webkit_settings_set_enable_fullscreen(settings, TRUE);
    webkit_settings_set_enable_media_stream(settings, TRUE);
    webkit_settings_set_enable_mediasource(settings, TRUE);
    webkit_settings_set_enable_webrtc(settings, TRUE);
    webkit_settings_set_enable_back_forward_navigation_gestures(settings, TRUE);
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
