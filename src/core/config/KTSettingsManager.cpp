#include "core/config/KTSettingsManager.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTIcns.h"
#include "core/config/KTLog.h"
#include "core/config/KTPaths.h"
#include "core/config/KTShared.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTUserDefaults.h"

#include <glib.h>

namespace quilt {

KTSettingsManager& KTSettingsManager::sharedManager() { return KTShared<KTSettingsManager>::get(); }

std::unique_ptr<KTSettingsManager> KTSettingsManager::create()
{
    std::unique_ptr<KTSettingsManager> s(new KTSettingsManager());
    s->loadSettings();
    s->registerShortCut();
    s->loadValues();
    s->restoreAfterUpdate();
    return s;
}

KTSettingsManager::~KTSettingsManager() { saveSettings(); }

std::string KTSettingsManager::path() const { return KTFileManager::getSettingsPath() + "/settings.json"; }

KTJson KTSettingsManager::settings() const
{
    std::lock_guard g(lock_);
    return settings_ ? *settings_ : KTJson(nullptr);
}

void KTSettingsManager::loadSettings()
{
    std::string error;
    auto data = KTFileUtil::read(path(), &error);
    if (!data)
        KTLog::line("loadSettings2 " + error);
    std::lock_guard g(lock_);
    if (data && !data->empty()) {
        auto parsed = json::parse(*data, &error);
        if (!parsed) {
            // Two lines for a corrupt file: what is wrong, and that the file
            // is left alone (settings stay empty until the next start).
            KTLog::line("loadSettings2 " + error);
            KTLog::line("loadSettings2 " + path() + " is not valid JSON; it is kept as it is");
        }
        settings_ = parsed ? std::make_unique<KTJson>(std::move(*parsed)) : nullptr;
    } else {
        settings_ = std::make_unique<KTJson>(KTJson::object());
    }
}

void KTSettingsManager::saveSettings()
{
    std::string data;
    {
        std::lock_guard g(lock_);
        // Nothing to write after a corrupt file: it stays for the user to mend.
        if (!settings_ || settings_->is_null())
            return;
        data = json::compact(*settings_);
    }
    KTFileUtil::writeAtomically(path(), data);
}

void KTSettingsManager::registerShortCut()
{
    if (auto accel = KTUserDefaults::standardUserDefaults().stringForKey("globalShortcutKey"); accel && !accel->empty())
        KTShellDelegate::shared().registerGlobalShortcut(*accel);
}

void KTSettingsManager::loadValues()
{
    KTJson s = settings_ ? *settings_ : KTJson(nullptr);
    if (auto family = json::stringFor(s, "fontName"))
        standardFont_ = KTFont{*family, json::doubleFor(s, "fontSize", 0.0)};
    else
        standardFont_.reset();

    auto color = json::stringFor(s, "windowColor");
    if (!color || color->empty()) {
        windowColor_ = KTColor::windowBackgroundColor();
        autoWindowColor_ = true;
    } else if (auto parsed = KTColor::colorFromStringForColorSpace(*color, KTColorSpace::DeviceRGB)) {
        windowColor_ = *parsed;
    } else {
        windowColor_ = KTColor::windowBackgroundColor();
    }

    hideTitle_ = json::boolFor(s, "hideTitle");
    hideTitleIcon_ = json::boolFor(s, "hideTitleIcon");
    if (json::lookup(s, "hideToolbarButton"))
        hideToolbarButton_ = json::boolFor(s, "hideToolbarButton");
    if (json::lookup(s, "hideTitlebar"))
        hideTitlebar_ = json::boolFor(s, "hideTitlebar");

    cookiesAllow_ = json::unsignedFor(s, "allowCookies");
    KTShellDelegate::shared().applyCookieAcceptPolicy(cookiesAllow_);

    enablePlugins_ = json::boolFor(s, "enablePlugins");
    enableJavaScript_ = json::boolFor(s, "enableJavaScript");
    hideProgressBar_ = json::boolFor(s, "hideProgressBar");
    blockPopupWindow_ = json::boolFor(s, "blockPopupWindoww");
    blockAds_ = json::boolFor(s, "blockAds");
    selectNewTab_ = json::boolFor(s, "selectNewTab");
    returnToPrior_ = json::boolFor(s, "returnToPrior");
    confirmColseTabs_ = json::boolFor(s, "confirmBeforeTabsClose");
    showBookmarkBar_ = json::boolFor(s, "showBookmark");
    appearance_ = static_cast<unsigned long>(static_cast<int32_t>(json::intFor(s, "appearance")));
    refreshTimeInterval_ = json::doubleFor(s, "refreshTimeInterval", 0.0);
    isWindowColorSystem_ = false;
}

template <class T>
void KTSettingsManager::write(const char* key, T value)
{
    std::lock_guard g(lock_);
    if (settings_ && settings_->is_object())
        (*settings_)[key] = value;
}

bool KTSettingsManager::readBool(const char* key, bool absent, bool& field)
{
    std::lock_guard g(lock_);
    field = settings_ ? json::boolFor(*settings_, key, absent) : absent;
    return field;
}

std::optional<std::string> KTSettingsManager::getMainUrl()
{
    std::string url;
    {
        std::lock_guard g(lock_);
        if (auto v = settings_ ? json::stringFor(*settings_, "main_url") : std::nullopt)
            url = *v;
    }
    mainUrl_ = url;
    if (url.empty())
        return std::nullopt;
    if (url.rfind("http", 0) != 0)
        url = "https://" + url;
    if (!g_uri_is_valid(url.c_str(), G_URI_FLAGS_NONE, nullptr))
        return std::nullopt;
    return url;
}

void KTSettingsManager::setUrl(const std::string& url)
{
    write("main_url", url);
    mainUrl_ = url;
}

bool KTSettingsManager::openEmptyPage() { return readBool("openEmptyPage;", false, openEmptyPage_); }
void KTSettingsManager::setOpenEmptyPage(bool v)
{
    write("openEmptyPage;", v ? 1 : 0);
    openEmptyPage_ = v;
}

std::string KTSettingsManager::pathToDownloadsFolder()
{
    std::lock_guard g(lock_);
    auto v = settings_ ? json::stringFor(*settings_, "downloads") : std::nullopt;
    downloads_ = (v && !v->empty()) ? *v : KTPaths::downloadsDir();
    return downloads_;
}

void KTSettingsManager::setPathToDownloadFolder(const std::string& path)
{
    if (path.empty())
        return;
    write("downloads", path);
    downloads_ = path;
}

void KTSettingsManager::setRefreshTimeInterval(double v)
{
    write("refreshTimeInterval", v);
    refreshTimeInterval_ = v;
}

double KTSettingsManager::windowOpacity()
{
    std::lock_guard g(lock_);
    windowOpacity_ = settings_ ? json::doubleFor(*settings_, "windowOpacityKey", 100.0) : 100.0;
    return windowOpacity_;
}

void KTSettingsManager::setWindowOpacity(double v)
{
    write("windowOpacityKey", v);
    windowOpacity_ = v;
}

void KTSettingsManager::setAppearance(unsigned long v)
{
    write("appearance", static_cast<uint64_t>(v));
    appearance_ = v;
}

long KTSettingsManager::windowLevel()
{
    std::lock_guard g(lock_);
    windowLevel_ = settings_ ? static_cast<long>(json::intFor(*settings_, "windowLevelKey", 0)) : 0;
    return windowLevel_;
}

void KTSettingsManager::setWindowLevel(long v)
{
    write("windowLevelKey", static_cast<uint64_t>(v));
    windowLevel_ = v;
}

bool KTSettingsManager::windowShadow() { return readBool("windowHasShadow", true, windowShadow_); }
void KTSettingsManager::setWindowShadow(bool v)
{
    write("windowHasShadow", v);
    windowShadow_ = v;
}

void KTSettingsManager::setHideProgressBar(bool v)
{
    write("hideProgressBar", v);
    hideProgressBar_ = v;
}

bool KTSettingsManager::hideTitle() { return readBool("hideTitle", false, hideTitle_); }
void KTSettingsManager::setHideTitle(bool v)
{
    write("hideTitle", v);
    hideTitle_ = v;
}

bool KTSettingsManager::hidePreferences() { return readBool("hidePreferences", false, hidePreferences_); }
void KTSettingsManager::setHidePreferences(bool v)
{
    write("hidePreferences", v);
    hidePreferences_ = v;
}

bool KTSettingsManager::hideToolbarButton() { return readBool("hideToolbarButton", false, hideToolbarButton_); }
void KTSettingsManager::setHideToolbarButton(bool v)
{
    write("hideToolbarButton", v);
    hideToolbarButton_ = v;
}

bool KTSettingsManager::hideTitlebar() { return readBool("hideTitlebar", false, hideTitlebar_); }
void KTSettingsManager::setHideTitlebar(bool v)
{
    write("hideTitlebar", v);
    hideTitlebar_ = v;
}

bool KTSettingsManager::hideTitleIcon() { return readBool("hideTitleIcon", false, hideTitleIcon_); }
void KTSettingsManager::setHideTitleIcon(bool v)
{
    write("hideTitleIcon", v);
    hideTitleIcon_ = v;
}

bool KTSettingsManager::autoWindowColor() { return readBool("autowindowColor", true, autoWindowColor_); }
void KTSettingsManager::setAutoWindowColor(bool v)
{
    write("autowindowColor", v);
    autoWindowColor_ = v;
}

void KTSettingsManager::setStandardFont(const KTFont& font)
{
    {
        std::lock_guard g(lock_);
        if (settings_ && settings_->is_object()) {
            (*settings_)["fontName"] = font.family;
            (*settings_)["fontSize"] = font.size;
        }
    }
    standardFont_ = font;
}

void KTSettingsManager::setWindowColor(const KTColor& color)
{
    write("windowColor", isWindowColorSystem_ ? std::string() : color.stringRepresentation());
    windowColor_ = color;
}

void KTSettingsManager::setEnablePlugins(bool v)
{
    write("enablePlugins", v);
    enablePlugins_ = v;
}

void KTSettingsManager::setEnableJavaScript(bool v)
{
    write("enableJavaScript", v);
    enableJavaScript_ = v;
}

void KTSettingsManager::setBlockPopupWindow(bool v)
{
    write("blockPopupWindoww", v);
    blockPopupWindow_ = v;
}

void KTSettingsManager::setBlockAds(bool v)
{
    write("blockAds", v);
    blockAds_ = v;
}

void KTSettingsManager::setCookiesAllow(unsigned long v)
{
    write("allowCookies", static_cast<uint64_t>(v));
    cookiesAllow_ = v;
    KTShellDelegate::shared().applyCookieAcceptPolicy(v);
}

void KTSettingsManager::setConfirmColseTabs(bool v)
{
    write("confirmBeforeTabsClose", v);
    confirmColseTabs_ = v;
}

void KTSettingsManager::setSelectNewTab(bool v)
{
    write("selectNewTab", v);
    selectNewTab_ = v;
}

void KTSettingsManager::setReturnToPrior(bool v)
{
    write("returnToPrior", v);
    returnToPrior_ = v;
}

void KTSettingsManager::setShowBookmarkBar(bool v)
{
    write("showBookmark", v);
    showBookmarkBar_ = v;
}

bool KTSettingsManager::saveIconError(GdkPixbuf* image, KTError* error)
{
    const std::string path = KTBundle::main().resourcePath() + "/AppIcon.icns";
    std::string message;
    if (KTFileUtil::exists(path) && !KTFileUtil::removeTree(path, &message) && error)
        *error = KTError{"org.quilt.FileError", 4, message};
    if (image && KTIcns::writeFile(path, image, {128}, &message)) {
        KTLog::line("AppIcon.icns created successfully.");
        KTShellDelegate::shared().setApplicationIcon(image);
        return true;
    }
    KTLog::line("Error writing to AppIcon.icns.");
    if (error)
        *error = KTError::kiteErrorWithCodeLocalizedDescription(2, "Error creating icon.");
    return false;
}

} // namespace quilt
