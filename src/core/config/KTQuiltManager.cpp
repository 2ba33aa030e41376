#include "core/config/KTQuiltManager.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTBundle.h"
#include "core/config/KTLog.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTNumber.h"
#include "core/config/KTPlist.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShared.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTUserDefaults.h"
#include "core/web/KTWhiteListManager.h"

#include <cstdlib>
#include <map>
#include <mutex>
#include <sys/stat.h>

namespace quilt {

namespace {
// "1024x768" -> {1024, 768}; nullopt without the second number.
std::optional<KTSize> parseSize(const std::string& text)
{
    auto x = text.find('x');
    if (x == std::string::npos) {
        KTLog::line("error: defaultWindowSize \"" + text + "\" has no x");
        return std::nullopt;
    }
    // Read as single precision, as before, but with a dot in every language.
    float w = static_cast<float>(KTNumber::parse(text.substr(0, x)).value_or(0.0));
    std::string rest = text.substr(x + 1);
    float h = static_cast<float>(KTNumber::parse(rest.substr(0, rest.find('x'))).value_or(0.0));
    return KTSize{static_cast<double>(w), static_cast<double>(h)};
}
} // namespace

KTQuiltManager& KTQuiltManager::sharedManager() { return KTShared<KTQuiltManager>::get(); }

std::unique_ptr<KTQuiltManager> KTQuiltManager::create()
{
    std::unique_ptr<KTQuiltManager> manager(new KTQuiltManager());
    manager->setDefaultSettings();
    return manager;
}

KTJson KTQuiltManager::readConfiguration(const char* name)
{
    std::string path = KTBundle::main().pathForResource(name, "plist");
    if (path.empty())
        return KTJson::object();
    // Every query used to parse the file again; a large, deeply nested one
    // then kept the first window from appearing. A file is parsed once and
    // again only when it is replaced or changes.
    struct Parsed {
        struct timespec mtime {};
        off_t size = -1;
        ino_t inode = 0;
        KTJson dict;
    };
    static std::mutex lock;
    static std::map<std::string, Parsed> cache;
    struct stat st {};
    const bool known = ::stat(path.c_str(), &st) == 0;
    std::lock_guard guard(lock);
    if (known) {
        if (auto it = cache.find(path); it != cache.end()) {
            const Parsed& p = it->second;
            if (p.size == st.st_size && p.inode == st.st_ino && p.mtime.tv_sec == st.st_mtim.tv_sec
                && p.mtime.tv_nsec == st.st_mtim.tv_nsec)
                return p.dict;
        }
    }
    std::string error;
    auto dict = KTPlist::readFile(path, &error);
    if (!dict)
        KTLog::line("error:" + error);
    KTJson result = (dict && dict->is_object()) ? std::move(*dict) : KTJson::object();
    if (known)
        cache[path] = Parsed{st.st_mtim, st.st_size, st.st_ino, result};
    return result;
}

bool KTQuiltManager::quiltCreationToolBuild()
{
    return json::boolFor(readConfiguration("QuiltCreationToolSettings"), "isCreatedByQuiltCreationTool");
}

bool KTQuiltManager::enterpriseBuild()
{
    return json::boolFor(readConfiguration("EnterpriseSettings"), "isEnterpriseApp");
}

std::optional<KTJson> KTQuiltManager::settingDict()
{
    KTJson tool = readConfiguration("QuiltCreationToolSettings");
    if (json::boolFor(tool, "isCreatedByQuiltCreationTool"))
        return tool;
    KTJson enterprise = readConfiguration("EnterpriseSettings");
    if (enterprise.empty())
        return std::nullopt;
    return enterprise;
}

std::string KTQuiltManager::appName()
{
    auto dict = settingDict();
    auto name = dict ? json::stringFor(*dict, "appName") : std::nullopt;
    return name.value_or("Default");
}

std::string KTQuiltManager::applicationName()
{
    return enterpriseBuild() ? appName() : KTBundle::main().folderName();
}

KTSize KTQuiltManager::quiltCreationToolWindowSize()
{
    KTRect screen = KTShellDelegate::shared().mainScreenFrame();
    KTSize full{screen.width, screen.height};
    if (!quiltCreationToolBuild())
        return full;
    auto dict = settingDict();
    auto text = dict ? json::stringFor(*dict, "defaultWindowSize") : std::nullopt;
    if (!text || text->empty())
        return full;
    return parseSize(*text).value_or(full);
}

float KTQuiltManager::alphaValue()
{
    auto dict = settingDict();
    return dict ? static_cast<float>(json::doubleFor(*dict, "windowOpacity", 0.0)) : 0.0f;
}

bool KTQuiltManager::hideEnterpriseItems()
{
    auto dict = settingDict();
    return dict && json::boolFor(*dict, "hideEnterpriseItems");
}

KTColor KTQuiltManager::colorWithHexColorString(const std::optional<std::string>& text)
{
    uint64_t value = 0;
    if (text) {
        const char* p = text->c_str();
        while (*p == ' ' || *p == '\t' || *p == '\n')
            ++p;
        if ((p[0] == '0') && (p[1] == 'x' || p[1] == 'X'))
            p += 2;
        for (; *p; ++p) {
            int digit;
            if (*p >= '0' && *p <= '9')
                digit = *p - '0';
            else if (*p >= 'a' && *p <= 'f')
                digit = *p - 'a' + 10;
            else if (*p >= 'A' && *p <= 'F')
                digit = *p - 'A' + 10;
            else
                break;
            value = (value << 4) | static_cast<uint64_t>(digit);
        }
    }
    return KTColor::rgb(((value >> 16) & 0xff) / 255.0, ((value >> 8) & 0xff) / 255.0, (value & 0xff) / 255.0, 1.0,
                        KTColorSpace::CalibratedRGB);
}

void KTQuiltManager::setDefaultSettings()
{
    if (!enterpriseBuild())
        return;
    const KTJson d = settingDict().value_or(KTJson::object());
    auto& settings = KTSettingsManager::sharedManager();
    auto& shell = KTShellDelegate::shared();
    auto flag = [&](const char* key) { return json::boolFor(d, key); };

    settings.setUrl(json::stringFor(d, "URL").value_or(std::string()));
    settings.setHideProgressBar(flag("hideProgressBar"));
    switch (json::intFor(d, "windowLevel")) {
    case 1:
        settings.setWindowLevel(3);
        shell.setFirstWindowLevel(3);
        break;
    case 2:
        settings.setWindowLevel(0);
        shell.setFirstWindowLevel(0);
        break;
    default:
        break;
    }
    settings.setWindowShadow(flag("windowShadow"));
    shell.setFirstWindowShadow(flag("windowShadow"));
    // Read as an integer on purpose: 0.8 becomes 0 here, while the launch
    // reads the same key as a float.
    double opacity = static_cast<double>(json::intFor(d, "windowOpacity"));
    settings.setWindowOpacity(opacity);
    shell.setFirstWindowAlpha(opacity);

    if (auto hex = json::stringFor(d, "colorHex"); hex && !hex->empty()) {
        KTColor color = colorWithHexColorString(hex);
        shell.setMainWindowColor(color);
        settings.setIsWindowColorSystem(false);
        settings.setWindowColor(color);
    }
    settings.setHideTitle(flag("hideTitle"));
    settings.setHideTitleIcon(flag("hideTitleIcon"));
    settings.setHideTitlebar(flag("hideTitlebar"));
    settings.setHideToolbarButton(flag("hideToolbarButton"));
    settings.setHidePreferences(flag("hidePreferences"));

    auto& center = KTNotificationCenter::defaultCenter();
    center.post(names::kShowHideToolbarButton, {}, KTJson{{"hide", flag("hideToolbarButton")}});
    if (auto agent = json::stringFor(d, "customUserAgent"); agent && !agent->empty())
        center.post(names::kSetCustomUserAgent, *agent);

    shell.setMainWindowTitle(flag("hideTitle"));
    shell.setMainWindowTitleIcon(flag("hideTitleIcon"));
    shell.setMainWindowTitleBar(flag("hideTitlebar"));
    shell.setStausBarOption(flag("showStatusBarOption"));
    shell.setHidePreferences(flag("hidePreferences"));
    shell.setUserScriptStyleOption(flag("showUserScriptStyleOption"));
    shell.setMobileDesktopOption(flag("showMobileDesktopOption"));
    shell.setBookmark(flag("hideBookmark"));

    if (auto size = json::stringFor(d, "defaultWindowSize"); size && !size->empty())
        if (auto parsed = parseSize(*size))
            shell.setDefaultWindowSize(parsed->width, parsed->height);

    settings.setEnableJavaScript(true);
    settings.setBlockPopupWindow(true);
    settings.setEnablePlugins(true);
    settings.setCookiesAllow(0);
    settings.saveSettings();

    auto& allow = KTWhiteListManager::sharedManager();
    allow.setAllowAll(flag("whiteListAllowAll"));
    allow.setAllowPatterns(flag("whiteListAllowPatterns"));
    allow.removeAllPatterns();
    if (const KTJson* list = json::lookup(d, "whiteListPatterns"); list && list->is_array())
        for (const auto& p : *list)
            if (p.is_string())
                allow.addPattern(p.get<std::string>());
    allow.savePatterns();

    auto& defaults = KTUserDefaults::standardUserDefaults();
    defaults.setBool("UserNotifications", flag("userNotifications"));
    defaults.setBool("DockBadge", flag("dockBadge"));
    defaults.synchronize();

    auto& behavior = KTBehaviorManager::sharedManager();
    behavior.setCloseApplication(false);
    behavior.setWindowAllSpace(false);
    behavior.setOpenTabInsteadWindow(true);
    behavior.setRestoreWindowsAndTabs(true);
    behavior.setWarnCloseWindows(true);
    behavior.setOpenLinksIn(1);
    behavior.setOpenDefaultLinkInNewTab(true);
    behavior.setAutoRefreshTheViewOnLoad(true);
    behavior.save();
}

} // namespace quilt
