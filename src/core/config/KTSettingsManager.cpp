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

#include <algorithm>
#include <glib.h>

namespace quilt {

// Keys are kept byte for byte as older versions wrote them: "blockPopupWindoww",
// "openEmptyPage;", "confirmBeforeTabsClose" and "showBookmark" are not typos to fix.
constexpr std::array<KTSettingsManager::BoolSetting, 17> KTSettingsManager::kBoolSettings{{
    {"windowHasShadow", true, &KTSettingsManager::windowShadow_},
    {"autowindowColor", true, &KTSettingsManager::autoWindowColor_},
    {"openEmptyPage;", false, &KTSettingsManager::openEmptyPage_},
    {"hideTitle", false, &KTSettingsManager::hideTitle_},
    {"hidePreferences", false, &KTSettingsManager::hidePreferences_},
    {"hideToolbarButton", false, &KTSettingsManager::hideToolbarButton_},
    {"hideTitlebar", false, &KTSettingsManager::hideTitlebar_},
    {"hideTitleIcon", false, &KTSettingsManager::hideTitleIcon_},
    {"hideProgressBar", false, &KTSettingsManager::hideProgressBar_},
    {"enablePlugins", false, &KTSettingsManager::enablePlugins_},
    {"enableJavaScript", false, &KTSettingsManager::enableJavaScript_},
    {"blockPopupWindoww", false, &KTSettingsManager::blockPopupWindow_},
    {"blockAds", false, &KTSettingsManager::blockAds_},
    {"selectNewTab", false, &KTSettingsManager::selectNewTab_},
    {"returnToPrior", false, &KTSettingsManager::returnToPrior_},
    {"confirmBeforeTabsClose", false, &KTSettingsManager::confirmColseTabs_},
    {"showBookmark", false, &KTSettingsManager::showBookmarkBar_},
}};

consteval const KTSettingsManager::BoolSetting& KTSettingsManager::boolSetting(bool KTSettingsManager::*field)
{
    for (const BoolSetting& setting : kBoolSettings)
        if (setting.field == field)
            return setting;
    throw "a flag missing from kBoolSettings";
}

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
    bool keepOff = false;
    if (!data) {
        KTLog::line("loadSettings2 " + error);
        // A file that is there but cannot be read (no permission, a FIFO, a
        // link to a device) is moved aside before the defaults are saved;
        // when even that fails, nothing is saved over it.
        if (KTFileUtil::exists(path())) {
            std::string why;
            if (auto aside = KTFileUtil::setAside(path(), &why))
                KTLog::line("loadSettings2 " + path() + " kept as " + *aside);
            else {
                KTLog::line("loadSettings2 " + why + "; settings are not saved");
                keepOff = true;
            }
        }
    }
    std::lock_guard g(lock_);
    if (keepOff) {
        settings_ = nullptr;
        return;
    }
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

    for (const BoolSetting& setting : kBoolSettings)
        this->*setting.field = json::boolFor(s, setting.key, setting.absent);

    cookiesAllow_ = json::unsignedFor(s, "allowCookies");
    KTShellDelegate::shared().applyCookieAcceptPolicy(cookiesAllow_);

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

template <bool KTSettingsManager::*Field>
bool KTSettingsManager::readBool()
{
    constexpr const BoolSetting& setting = boolSetting(Field);
    std::lock_guard g(lock_);
    this->*Field = settings_ ? json::boolFor(*settings_, setting.key, setting.absent) : setting.absent;
    return this->*Field;
}

template <bool KTSettingsManager::*Field>
void KTSettingsManager::writeBool(bool v)
{
    write(boolSetting(Field).key, v);
    this->*Field = v;
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

bool KTSettingsManager::openEmptyPage() { return readBool<&KTSettingsManager::openEmptyPage_>(); }
void KTSettingsManager::setOpenEmptyPage(bool v)
{
    // The one flag stored as a number (1 or 0), as older versions wrote it.
    const BoolSetting& setting = boolSetting(&KTSettingsManager::openEmptyPage_);
    write(setting.key, v ? 1 : 0);
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

unsigned KTSettingsManager::refreshTimerMilliseconds(double seconds)
{
    if (!(seconds > 0.0)) // NaN too
        return 0;
    return static_cast<unsigned>(std::clamp(seconds, 1.0, 86400.0) * 1000.0);
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

bool KTSettingsManager::windowShadow() { return readBool<&KTSettingsManager::windowShadow_>(); }
void KTSettingsManager::setWindowShadow(bool v) { writeBool<&KTSettingsManager::windowShadow_>(v); }

void KTSettingsManager::setHideProgressBar(bool v) { writeBool<&KTSettingsManager::hideProgressBar_>(v); }

bool KTSettingsManager::hideTitle() { return readBool<&KTSettingsManager::hideTitle_>(); }
void KTSettingsManager::setHideTitle(bool v) { writeBool<&KTSettingsManager::hideTitle_>(v); }

bool KTSettingsManager::hidePreferences() { return readBool<&KTSettingsManager::hidePreferences_>(); }
void KTSettingsManager::setHidePreferences(bool v) { writeBool<&KTSettingsManager::hidePreferences_>(v); }

bool KTSettingsManager::hideToolbarButton() { return readBool<&KTSettingsManager::hideToolbarButton_>(); }
void KTSettingsManager::setHideToolbarButton(bool v) { writeBool<&KTSettingsManager::hideToolbarButton_>(v); }

bool KTSettingsManager::hideTitlebar() { return readBool<&KTSettingsManager::hideTitlebar_>(); }
void KTSettingsManager::setHideTitlebar(bool v) { writeBool<&KTSettingsManager::hideTitlebar_>(v); }

bool KTSettingsManager::hideTitleIcon() { return readBool<&KTSettingsManager::hideTitleIcon_>(); }
void KTSettingsManager::setHideTitleIcon(bool v) { writeBool<&KTSettingsManager::hideTitleIcon_>(v); }

bool KTSettingsManager::autoWindowColor() { return readBool<&KTSettingsManager::autoWindowColor_>(); }
void KTSettingsManager::setAutoWindowColor(bool v) { writeBool<&KTSettingsManager::autoWindowColor_>(v); }

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

void KTSettingsManager::setEnablePlugins(bool v) { writeBool<&KTSettingsManager::enablePlugins_>(v); }

void KTSettingsManager::setEnableJavaScript(bool v) { writeBool<&KTSettingsManager::enableJavaScript_>(v); }

void KTSettingsManager::setBlockPopupWindow(bool v) { writeBool<&KTSettingsManager::blockPopupWindow_>(v); }

void KTSettingsManager::setBlockAds(bool v) { writeBool<&KTSettingsManager::blockAds_>(v); }

void KTSettingsManager::setCookiesAllow(unsigned long v)
{
    write("allowCookies", static_cast<uint64_t>(v));
    cookiesAllow_ = v;
    KTShellDelegate::shared().applyCookieAcceptPolicy(v);
}

void KTSettingsManager::setConfirmColseTabs(bool v) { writeBool<&KTSettingsManager::confirmColseTabs_>(v); }

void KTSettingsManager::setSelectNewTab(bool v) { writeBool<&KTSettingsManager::selectNewTab_>(v); }

void KTSettingsManager::setReturnToPrior(bool v) { writeBool<&KTSettingsManager::returnToPrior_>(v); }

void KTSettingsManager::setShowBookmarkBar(bool v) { writeBool<&KTSettingsManager::showBookmarkBar_>(v); }

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
