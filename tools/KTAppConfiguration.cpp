#include "KTAppConfiguration.h"

#include "core/config/KTColor.h"

#include <cstdlib>

namespace quilt {

namespace {

// "#rrggbb" as the settings' colour text.
KTColor colorOf(const std::string& hex)
{
    const long rgb = std::strtol(hex.c_str() + 1, nullptr, 16);
    return KTColor::rgb(((rgb >> 16) & 0xff) / 255.0, ((rgb >> 8) & 0xff) / 255.0, (rgb & 0xff) / 255.0);
}

} // namespace

KTAppConfiguration::KTAppConfiguration(const KTCreateOptions& options, KTSiteAddress site, std::string appName)
    : options_(options), site_(std::move(site)), appName_(std::move(appName))
{
}

std::string KTAppConfiguration::configurationName() const
{
    return options_.enterprise ? "EnterpriseSettings" : "QuiltCreationToolSettings";
}

KTJson KTAppConfiguration::configuration() const
{
    return options_.enterprise ? enterpriseConfiguration() : creationToolConfiguration();
}

KTAppDataWriter::AllowList KTAppConfiguration::allowList() const
{
    KTAppDataWriter::AllowList list;
    if (options_.allowAll) {
        list.allowAll = true;
        list.allowPatterns = false;
        return list;
    }
    list.allowAll = false;
    list.allowPatterns = true;
    // The subdomain widening cuts a fragment to its last two labels, which
    // would also admit look-alikes ("evilexample.org"); the default patterns
    // name the subdomains themselves instead.
    list.allowSubdomains = false;
    list.patterns = options_.allowPatterns.empty() ? site_.defaultAllowPatterns() : options_.allowPatterns;
    return list;
}

void KTAppConfiguration::addAllowListKeys(KTJson& dict) const
{
    const auto list = allowList();
    dict["whiteListAllowAll"] = list.allowAll;
    dict["whiteListAllowPatterns"] = list.allowPatterns;
    dict["whiteListPatterns"] = list.patterns;
}

KTJson KTAppConfiguration::creationToolConfiguration() const
{
    KTJson d = KTJson::object();
    d["isCreatedByQuiltCreationTool"] = true;
    d["appName"] = appName_;
    d["URL"] = site_.url();
    if (options_.windowSize)
        d["defaultWindowSize"] = *options_.windowSize;
    if (options_.opacityPercent)
        d["windowOpacity"] = *options_.opacityPercent / 100.0;
    d["showStatusBarOption"] = options_.statusBarOption;
    d["showUserScriptStyleOption"] = options_.userScriptPath.has_value();
    addAllowListKeys(d);
    return d;
}

KTJson KTAppConfiguration::enterpriseConfiguration() const
{
    // An enterprise configuration is imposed at every start and every
    // absent key reads as false or 0, so each key gets the value a normal
    // window needs: 0 opacity would hide it, false would drop its shadow.
    KTJson d = KTJson::object();
    d["isEnterpriseApp"] = true;
    d["appName"] = appName_;
    d["URL"] = site_.url();
    if (options_.windowSize)
        d["defaultWindowSize"] = *options_.windowSize;
    d["windowOpacity"] = 1; // a whole number: the app reads it as an integer
    d["windowLevel"] = 2;   // normal
    d["windowShadow"] = true;
    d["hideProgressBar"] = false;
    d["hideTitle"] = false;
    d["hideTitleIcon"] = false;
    d["hideTitlebar"] = false;
    d["hideToolbarButton"] = false;
    d["hidePreferences"] = false;
    d["hideBookmark"] = false;
    d["hideEnterpriseItems"] = false;
    d["showStatusBarOption"] = options_.statusBarOption;
    d["showUserScriptStyleOption"] = options_.userScriptPath.has_value();
    d["showMobileDesktopOption"] = true;
    if (options_.windowColor)
        d["colorHex"] = options_.windowColor->substr(1);
    d["userNotifications"] = true;
    d["dockBadge"] = true;
    addAllowListKeys(d);
    return d;
}

KTJson KTAppConfiguration::settings() const
{
    KTJson s = KTJson::object();
    s["main_url"] = site_.url();
    s["enableJavaScript"] = true;
    s["enablePlugins"] = false;
    s["allowCookies"] = 0; // always: sign-ins need them
    // The app hands this value to WebKit's "scripts may open windows
    // automatically" as it stands, so false keeps the browser's behaviour:
    // windows opened on a click open, unsolicited ones do not.
    s["blockPopupWindoww"] = false;
    s["hideProgressBar"] = false;
    if (options_.opacityPercent)
        s["windowOpacityKey"] = *options_.opacityPercent / 100.0;
    if (options_.windowColor) {
        // A fixed colour: following the page would paint over the site's own.
        s["windowColor"] = colorOf(*options_.windowColor).stringRepresentation();
        s["autowindowColor"] = false;
    }
    return s;
}

KTJson KTAppConfiguration::userScripts(const std::string& script, const std::string& pattern)
{
    KTJson rule = KTJson::object();
    rule["name"] = "Rule 1";
    rule["state"] = 1;
    rule["script"] = script;
    KTJson patterns = KTJson::object();
    patterns[pattern] = KTJson{{"name", pattern}, {"state", 1}};
    rule["pattern"] = patterns;
    return KTJson::array({rule});
}

} // namespace quilt
