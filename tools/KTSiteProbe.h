#pragma once

#include "KTSiteAddress.h"
#include "core/config/KTJson.h"
#include "core/web/KTSiteIdentity.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// Asks a site who it is: fetches its page, its web app manifest and its
// best icon over HTTP(S), within a short total time and size limits, and
// never fails: whatever cannot be had becomes one warning line and the
// caller keeps its defaults. Only http and https are followed, redirects
// are counted, and an address holding a password is neither followed nor
// written anywhere.
class KTSiteProbe {
public:
    struct Limits {
        std::chrono::milliseconds total {5000};
        size_t maxPageBytes = 2 << 20;   // the head is at the top; more is cut, not refused
        size_t maxManifestBytes = 512 << 10;
        size_t maxIconBytes = 4 << 20;
        int maxRedirects = 5;
        int maxIconTries = 4;
        int maxIconSide = 4096; // a larger picture is refused before it is decoded
    };

    struct Result {
        std::string url; // the page after redirects
        KTSiteIdentity identity;
        bool reached = false;
        std::optional<std::string> iconFile; // a PNG in the probe cache
        std::vector<std::string> warnings;

        // {"url", "name", "shortName", "iconFile", "themeColor", "startUrl", "scope", "warnings"}
        KTJson toJson() const;
    };

    KTSiteProbe();
    explicit KTSiteProbe(Limits limits);

    // Icons are written to `cacheFolder` (made when needed), which is pruned
    // on the way out (see KTProbeCache).
    Result probe(const KTSiteAddress& site, const std::string& cacheFolder = defaultCacheFolder()) const;

    // $XDG_CACHE_HOME/quilt/probe
    static std::string defaultCacheFolder();
    // An address as it may be shown: without user name, password or fragment.
    static std::string shown(const std::string& url);

private:
    Limits limits_;
};

} // namespace quilt
