#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The addresses whose logins are "this app's": its home page, and, when the
// allow-list keeps the app to some sites, the site each pattern names. The
// helper reduces each to its site; logins of sites named nowhere (a sign-in
// page on a host of its own) are not listed.
class KTAppLoginSites {
public:
    static std::vector<std::string> addresses(const std::optional<std::string>& mainUrl, bool allowPatterns,
                                              const std::vector<std::string>& patterns);
    // The address a pattern names: its first "*"-separated piece when that
    // is an http(s) address, else "https://" and the host that piece starts
    // with ("*.example.org/*" -> "https://example.org"); nullopt otherwise.
    static std::optional<std::string> addressOfPattern(const std::string& pattern);
};

} // namespace quilt
