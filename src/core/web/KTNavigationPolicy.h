#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quilt {

struct KTAllowListRules;

// The keys held during a click. Only these four count: Caps Lock and Num
// Lock are not modifiers of a click, so the glue leaves them out.
struct KTModifiers {
    bool control = false;
    bool shift = false;
    bool alt = false;
    bool super = false;
};

enum class KTFrameTarget {
    Main, // the page's own frame
    Sub,  // an iframe
    None, // a link or script asking for a new window
};

// One navigation as WebKit asks about it, in plain values.
struct KTNavigationRequest {
    std::string url; // the request URL as text
    // Display name of the application that claims the URL's scheme, if any.
    // Only consulted for URLs that are not http(s), so the glue need only
    // look it up for those (see KTNavigationPolicy::isWebAddress).
    std::optional<std::string> claimingApp;
    KTModifiers modifiers;
    KTFrameTarget target = KTFrameTarget::Main;
    // The URL of the load in flight (set at provisional start, cleared when
    // it ends); a redirect inside the same root domain is judged by it.
    std::optional<std::string> sourceURL;
    bool isRecentNewTab = false;
    // The behaviour "openOtherAppInBackground".
    bool openOtherAppInBackground = false;
};

struct KTNavigationDecision {
    enum class Action {
        AskOpenOtherApp,      // ask "Open %@?" for appName; open the URL on "Open"
        NewTab,               // a new page controller loads the request in a tab
        Allow,                // load in this page
        OpenInDefaultBrowser, // hand the URL to the default browser
    };
    Action action = Action::Allow;
    // Answer WebKit with ignore (true) or use (false).
    bool cancel = false;
    std::string appName;      // AskOpenOtherApp
    bool background = false;  // OpenInDefaultBrowser: keep this app in front
    bool closeTab = false;    // OpenInDefaultBrowser: the tab existed only for this link
    std::string judgedURL;    // the URL given to the allow-list, when it was asked

    bool operator==(const KTNavigationDecision&) const = default;
};

// What keeps an app on its site: for every navigation of a page, whether it
// stays, becomes a new tab, is handed to another application or to the
// default browser. The glue carries the decision out.
class KTNavigationPolicy {
public:
    using Judge = std::function<bool(std::string_view url)>;

    // The five tests in order; the first that applies decides.
    static KTNavigationDecision decide(const KTNavigationRequest& request, const Judge& isUrlAllow);
    static KTNavigationDecision decide(const KTNavigationRequest& request, const KTAllowListRules& allowList);

    // "http://" or "https://" at the start, exactly (case-sensitive): any
    // other text may belong to another application.
    static bool isWebAddress(std::string_view url);
    // Control alone is the "open in a new tab" click on Linux; Control with
    // anything else is an ordinary click.
    static bool isCommandClick(const KTModifiers& modifiers);

    // The host without its first label when it has three or more labels
    // (w.x.y -> x.y, v.w.x.y -> w.x.y, x.y -> x.y); nullopt without a host.
    // Hosts are compared in lower case with international names in their
    // ASCII form, the form WebKit hands over anyway.
    static std::optional<std::string> getRootDomain(std::string_view url);
    // The URL the allow-list judges: the load in flight when the request
    // stays in its root domain, otherwise the request itself. URLs without
    // a host never share a root domain.
    static std::string urlToJudge(std::string_view requestURL, const std::optional<std::string>& sourceURL);

    // The name shown in "Open %@?". The desktop entry's display name is what
    // Linux users know an application by, so the glue passes it when it has
    // one; otherwise the name comes from the application's file: its last
    // path component with every "." + extension removed ("Mailer.app" ->
    // "Mailer", "mail-client.desktop" -> "mail-client").
    static std::string otherAppDisplayName(std::string_view displayName, std::string_view appPath);
};

} // namespace quilt
