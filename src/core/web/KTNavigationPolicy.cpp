#include "core/web/KTNavigationPolicy.h"

#include "core/web/KTAllowListRules.h"

#include <glib.h>

namespace quilt {

namespace {

bool startsWith(std::string_view text, std::string_view prefix)
{
    return text.substr(0, prefix.size()) == prefix;
}

KTNavigationDecision cancelWith(KTNavigationDecision::Action action)
{
    KTNavigationDecision d;
    d.action = action;
    d.cancel = true;
    return d;
}

} // namespace

bool KTNavigationPolicy::isWebAddress(std::string_view url)
{
    return startsWith(url, "http://") || startsWith(url, "https://");
}

bool KTNavigationPolicy::isCommandClick(const KTModifiers& m)
{
    return m.control && !m.shift && !m.alt && !m.super;
}

std::optional<std::string> KTNavigationPolicy::getRootDomain(std::string_view url)
{
    GUri* uri = g_uri_parse(std::string(url).c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return std::nullopt;
    const char* h = g_uri_get_host(uri);
    std::string host = h ? h : "";
    g_uri_unref(uri);
    // Host names are case-insensitive; GLib lowers only the international ones.
    for (char& c : host)
        c = g_ascii_tolower(c);
    if (host.empty())
        return std::nullopt;
    size_t firstDot = host.find('.');
    if (firstDot == std::string::npos || host.find('.', firstDot + 1) == std::string::npos)
        return host; // one or two labels: the host is its own root domain
    return host.substr(firstDot + 1);
}

std::string KTNavigationPolicy::urlToJudge(std::string_view requestURL, const std::optional<std::string>& sourceURL)
{
    std::string judged = sourceURL ? *sourceURL : std::string(requestURL);
    auto judgedRoot = getRootDomain(judged);
    auto requestRoot = getRootDomain(requestURL);
    if (!judgedRoot || !requestRoot || *judgedRoot != *requestRoot)
        return std::string(requestURL);
    return judged;
}

KTNavigationDecision KTNavigationPolicy::decide(const KTNavigationRequest& request, const Judge& isUrlAllow)
{
    using Action = KTNavigationDecision::Action;

    // 1. Another application's scheme: ask first, never load it here. A
    // scheme nobody claims is judged like any address below.
    if (!isWebAddress(request.url) && request.claimingApp) {
        auto d = cancelWith(Action::AskOpenOtherApp);
        d.appName = *request.claimingApp;
        return d;
    }
    // 2. Control-click opens a tab, whatever the allow-list says (the new
    // page's own loads pass through this table again).
    if (isCommandClick(request.modifiers))
        return cancelWith(Action::NewTab);
    // 3. Frames and new windows are not the allow-list's business.
    if (request.target != KTFrameTarget::Main)
        return {};
    // 4. The main frame stays when the allow-list allows it.
    KTNavigationDecision d;
    d.judgedURL = urlToJudge(request.url, request.sourceURL);
    if (isUrlAllow && isUrlAllow(d.judgedURL))
        return d;
    // 5. Anything else belongs to the default browser; a tab opened only to
    // carry this link goes away again.
    d.action = Action::OpenInDefaultBrowser;
    d.cancel = true;
    d.background = request.openOtherAppInBackground;
    d.closeTab = request.isRecentNewTab;
    return d;
}

KTNavigationDecision KTNavigationPolicy::decide(const KTNavigationRequest& request, const KTAllowListRules& allowList)
{
    return decide(request, [&allowList](std::string_view url) { return allowList.isUrlAllow(url); });
}

std::string KTNavigationPolicy::otherAppDisplayName(std::string_view displayName, std::string_view appPath)
{
    if (!displayName.empty())
        return std::string(displayName);
    std::string_view trimmed = appPath;
    while (trimmed.size() > 1 && trimmed.back() == '/')
        trimmed.remove_suffix(1);
    size_t slash = trimmed.rfind('/');
    std::string name(slash == std::string_view::npos ? trimmed : trimmed.substr(slash + 1));
    size_t dot = name.rfind('.');
    if (dot == std::string::npos || dot + 1 == name.size())
        return name;
    // Every occurrence of the extension goes, not only the last one.
    const std::string suffix = name.substr(dot);
    std::string out;
    for (size_t from = 0;;) {
        size_t at = name.find(suffix, from);
        out.append(name, from, at == std::string::npos ? std::string::npos : at - from);
        if (at == std::string::npos)
            return out;
        from = at + suffix.size();
    }
}

} // namespace quilt
