#pragma once

#include <optional>
#include <string>

namespace quilt {

// The site a login belongs to: the origin of the page's address,
// "scheme://host[:port]" with scheme and host in lower case and the
// scheme's default port left out, so "https://Example.org:443/a?b" and
// "https://example.org/" are one site and "http://example.org" or
// "https://example.org:8443" are others. Only http and https addresses with
// a host have a site.
class KTLoginSite {
public:
    static std::optional<KTLoginSite> fromURL(const std::string& url);

    // The keyring attribute, and the "url" of the logins given back.
    const std::string& origin() const { return origin_; }
    // "host[:port]", for the label people see in their keyring.
    const std::string& displayHost() const { return displayHost_; }
    // "Quilt: user@host[:port]".
    std::string labelFor(const std::string& username) const;

private:
    KTLoginSite(std::string origin, std::string displayHost);
    std::string origin_, displayHost_;
};

} // namespace quilt
