#include "core/web/KTMainFrameGuard.h"

#include "core/web/KTNavigationPolicy.h"

#include <glib.h>

#include <algorithm>

namespace quilt {

namespace {

constexpr size_t kMaxAllowed = 16;

// WebKit may hand over a request without the fragment the page address has.
std::string_view withoutFragment(std::string_view url)
{
    return url.substr(0, url.find('#'));
}

bool sameDocument(std::string_view a, std::string_view b) { return withoutFragment(a) == withoutFragment(b); }

} // namespace

std::optional<std::string> KTMainFrameGuard::refusal(const KTAllowListRules& rules, std::string_view url,
                                                     std::string_view pageURL,
                                                     const std::optional<std::string>& redirectedFrom)
{
    // Other schemes never reach a server of their own from here.
    if (!KTNavigationPolicy::isWebAddress(url) || pageURL.empty())
        return std::nullopt;
    // The page's address moves to a redirect's target either before or after
    // the request for it is made: either end of the redirect may match.
    const bool mainDocument = sameDocument(url, pageURL) || (redirectedFrom && sameDocument(*redirectedFrom, pageURL));
    if (!mainDocument)
        return std::nullopt;
    // What was let through under another list is judged afresh.
    if (!(rules == judgedWith_)) {
        allowed_.clear();
        judgedWith_ = rules;
    }
    auto known = [&](std::string_view u) {
        return std::any_of(allowed_.begin(), allowed_.end(), [&](const std::string& a) { return sameDocument(a, u); });
    };
    if (!redirectedFrom) {
        start_ = std::string(url);
        if (known(url))
            return std::nullopt;
    } else if (!start_) {
        start_ = *redirectedFrom;
    }
    const std::string judged = redirectedFrom ? KTNavigationPolicy::urlToJudge(url, start_) : std::string(url);
    if (!rules.isUrlAllow(judged))
        return std::string(url);
    if (allowed_.size() >= kMaxAllowed)
        allowed_.erase(allowed_.begin());
    allowed_.emplace_back(url);
    return std::nullopt;
}

std::string KTMainFrameGuard::wrap(std::string_view scheme, std::string_view address)
{
    char* escaped = g_uri_escape_string(std::string(address).c_str(), nullptr, FALSE);
    std::string out = std::string(scheme) + ":" + escaped;
    g_free(escaped);
    return out;
}

std::optional<std::string> KTMainFrameGuard::unwrap(std::string_view scheme, std::string_view url)
{
    if (scheme.empty() || url.size() <= scheme.size() + 1 || url.substr(0, scheme.size()) != scheme
        || url[scheme.size()] != ':')
        return std::nullopt;
    char* raw = g_uri_unescape_string(std::string(url.substr(scheme.size() + 1)).c_str(), nullptr);
    if (!raw)
        return std::nullopt;
    std::string out = raw;
    g_free(raw);
    return out;
}

} // namespace quilt
