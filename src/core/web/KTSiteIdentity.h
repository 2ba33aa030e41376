#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// What a site says about itself: its name, icons, colour, start page and
// scope, read from the head of its page and from its web app manifest.
// Pure parsing and choosing over text already fetched, so every hostile
// page or manifest can be tried without a network; the fetching is the
// creation tool's.
class KTSiteIdentity {
public:
    enum class IconSource { Manifest, AppleTouch, Link, Favicon };

    struct Icon {
        std::string url;          // absolute http(s)
        int size = 0;             // the largest square side offered; 0 when unknown
        bool scalable = false;    // "any" size or an SVG
        bool square = true;
        IconSource source = IconSource::Link;
        bool operator==(const Icon&) const = default;
    };

    // What the page's <head> holds.
    struct Head {
        std::string title;
        std::optional<std::string> manifestUrl;
        std::optional<std::string> themeColor; // "#rrggbb"
        std::vector<Icon> icons;
    };

    struct Manifest {
        std::string name, shortName;
        std::optional<std::string> startUrl, scope, themeColor;
        std::vector<Icon> icons;
    };

    // Texts longer than this are cut: a name is a window title, not an essay.
    static constexpr size_t kMaxNameBytes = 100;

    // `pageUrl` is the page's address after redirects; relative addresses
    // resolve against it (or the page's <base>). Reading stops at <body>.
    static Head parseHead(std::string_view html, const std::string& pageUrl);
    // nullopt and *error when the text is not a JSON object. Addresses
    // resolve against the manifest's own; a start page or scope on another
    // origin than the page is ignored, as browsers do.
    static std::optional<Manifest> parseManifest(std::string_view json, const std::string& manifestUrl,
                                                 const std::string& pageUrl, std::string* error = nullptr);

    // The identity: the manifest first, then the head, then the host.
    static KTSiteIdentity combine(const Head& head, const std::optional<Manifest>& manifest,
                                  const std::string& pageUrl);

    // Best first: square before not, scalable and larger before smaller,
    // the manifest before the page's links; "/favicon.ico" last when the
    // site names no icon at all.
    static std::vector<Icon> rankIcons(std::vector<Icon> icons);

    // "#rrggbb" for "#rgb", "#rrggbb", "#rrggbbaa", "rgb(...)", "rgba(...)"
    // and a few colour names; nullopt for anything else.
    static std::optional<std::string> cssColor(std::string_view text);
    // A title made usable as an app's name: blanks collapsed, control
    // characters, "/" and "%" dropped, no leading "." , at most
    // kMaxNameBytes. Empty when nothing is left.
    static std::string cleanName(std::string_view text);
    // The largest square side in a "sizes" attribute ("16x16 32x32"),
    // whether it says "any", and whether any size is square.
    struct Sizes {
        int largestSquare = 0;
        int largestAny = 0;
        bool any = false;
    };
    static Sizes parseSizes(std::string_view text);
    // `ref` resolved against `base`; nullopt unless the result is http(s).
    static std::optional<std::string> resolve(const std::string& base, std::string_view ref);
    // "scheme://host[:port]" of an address, or "" when it has none.
    static std::string originOf(const std::string& url);

    std::string name;      // never empty: at worst the host
    std::string shortName; // never empty: at worst the name
    std::optional<std::string> startUrl, scope, themeColor;
    std::vector<Icon> icons; // ranked
    bool fromManifest = false;
};

} // namespace quilt
