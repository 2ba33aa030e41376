#include "KTLoginSite.h"

#include <glib.h>

namespace quilt {

namespace {

std::string lower(const char* text)
{
    gchar* folded = g_ascii_strdown(text, -1);
    std::string result = folded;
    g_free(folded);
    return result;
}

int defaultPort(const std::string& scheme) { return scheme == "https" ? 443 : 80; }

} // namespace

KTLoginSite::KTLoginSite(std::string origin, std::string displayHost)
    : origin_(std::move(origin)), displayHost_(std::move(displayHost))
{
}

std::optional<KTLoginSite> KTLoginSite::fromURL(const std::string& url)
{
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return std::nullopt;
    const std::string scheme = lower(g_uri_get_scheme(uri));
    const char* rawHost = g_uri_get_host(uri);
    const int port = g_uri_get_port(uri);
    std::optional<KTLoginSite> site;
    if ((scheme == "http" || scheme == "https") && rawHost && *rawHost) {
        std::string host = lower(rawHost);
        if (host.find(':') != std::string::npos)
            host = "[" + host + "]"; // an IPv6 address
        if (port > 0 && port != defaultPort(scheme))
            host += ":" + std::to_string(port);
        site = KTLoginSite(scheme + "://" + host, host);
    }
    g_uri_unref(uri);
    return site;
}

std::string KTLoginSite::labelFor(const std::string& username) const
{
    return "Quilt: " + username + "@" + displayHost_;
}

} // namespace quilt
