#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// The site an app is made for: its home page address, checked and
// normalised, and what follows from its host (the registrable domain, the
// default allow-list, the default app name).
class KTSiteAddress {
public:
    // nullopt (and *error) for anything but an absolute http or https
    // address with a host.
    static std::optional<KTSiteAddress> parse(std::string_view text, std::string* error = nullptr);

    // Lower-case scheme and host, host in its ASCII (IDNA) form, "/" as
    // the path when there was none: the form web views report.
    const std::string& url() const { return url_; }
    const std::string& scheme() const { return scheme_; }
    // ASCII, lower case; an IPv6 address without brackets.
    const std::string& host() const { return host_; }
    // -1 when the address has none.
    int port() const { return port_; }
    // The host as it is written in an address (IPv6 in brackets).
    std::string hostInUrl() const;
    // The host for people: Unicode for international names.
    std::string displayHost() const;

    bool isIpAddress() const;
    // A host the public suffix rules say nothing about: an IP address,
    // "localhost" or any other single label.
    bool isLocalName() const;
    // The part of the host a registrar hands out: "example.co.uk" for
    // "mail.example.co.uk". The host itself for IP addresses and single labels.
    std::string registrableDomain() const;

    // Allow-list patterns that keep the site's domain and its subdomains and
    // nothing else that a look-alike host could spell: the patterns begin
    // the domain at "://" or "." and end it at the path (after the site's
    // port, when its address has one).
    // IP addresses and single-label hosts keep just their origin.
    std::vector<std::string> defaultAllowPatterns() const;

    // The registrable domain for people: Unicode for international names.
    std::string displayDomain() const;

private:
    std::string url_, scheme_, host_;
    int port_ = -1;
};

} // namespace quilt
