#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// Text typed into the URL bar (or handed over by a shortcut) turned into the
// address a page loads.
class KTTypedAddress {
public:
    // The address-shortcut store's lookup: the URL for a shortcut text, or
    // empty/nullopt when the text is no shortcut.
    using ShortcutLookup = std::function<std::optional<std::string>(std::string_view text)>;

    // A search engine that does not track its users; "%s" takes the text.
    static constexpr const char* kDefaultSearchTemplate = "https://duckduckgo.com/?q=%s";

    // The URL to load for the text, or nullopt when nothing is to happen:
    //  1. a shortcut's URL replaces the text;
    //  2. text without "." and without a scheme is a search: spaces become
    //     "%20" and the text goes into the search template as it is;
    //  3. when the text as typed had no scheme, "https://" goes in front of
    //     the (possibly rewritten) text -- for a search too, so the result is
    //     "https://" + the whole search URL, whose host reads as "https";
    //  4. only a result with a non-empty host is loaded.
    // Text with a scheme is loaded as it is (when it has a host).
    static std::optional<std::string> urlToLoad(std::string_view text, const ShortcutLookup& findUrlForShortcut = {},
                                                std::string_view searchTemplate = kDefaultSearchTemplate);

    // The home page decision: nothing when the app opens an empty page,
    // otherwise the main URL (if there is one).
    static std::optional<std::string> goHome(bool openEmptyPage, const std::optional<std::string>& mainUrl);

    // A URL as a strict RFC 3986 parser reads it:
    // nullopt when the text is not a URL at all (see the .cpp).
    struct Parsed {
        std::optional<std::string> scheme;
        std::optional<std::string> host;
    };
    static std::optional<Parsed> parse(std::string_view text);
};

} // namespace quilt
