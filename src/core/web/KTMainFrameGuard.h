#pragma once

#include "core/web/KTAllowListRules.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// Decides, in the web process and before a request leaves, whether a page's
// main frame is about to fetch a document the allow-list refuses. A refused
// request is sent instead to the app's private scheme, carrying the refused
// address, so that nothing of it (body, cookies, credentials) reaches the
// foreign server and the app hands the address to the browser.
//
// A page knows the address its main frame is loading (its provisional
// address, moved at every redirect) but not which frame a request is for:
// a request for exactly that address is the main frame's document. Sub-frames
// and sub-resources request other addresses and are never judged here.
class KTMainFrameGuard {
public:
    // The address to hand to the browser when the request must not leave,
    // else nullopt. `pageURL` is the page's current main-frame address;
    // `redirectedFrom` the address whose response redirected here, if any.
    std::optional<std::string> refusal(const KTAllowListRules& rules, std::string_view url, std::string_view pageURL,
                                       const std::optional<std::string>& redirectedFrom);

    // "SCHEME:" + the address, escaped, and back; nullopt when `url` is not
    // of that scheme or carries nothing.
    static std::string wrap(std::string_view scheme, std::string_view address);
    static std::optional<std::string> unwrap(std::string_view scheme, std::string_view url);

private:
    // Where the main frame's load in flight started: a redirect that stays in
    // its root domain is judged by it, as at the navigation stage.
    std::optional<std::string> start_;
    // Documents let through: requests of their own address (a reload, a page
    // fetching itself) are not judged again.
    std::vector<std::string> allowed_;
    KTAllowListRules judgedWith_;
};

} // namespace quilt
