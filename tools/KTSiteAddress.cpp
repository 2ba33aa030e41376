#include "KTSiteAddress.h"

#include <gio/gio.h>
#include <libpsl.h>

#include <memory>

namespace quilt {

namespace {

std::string lower(std::string s)
{
    for (char& c : s)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    return s;
}

void setError(std::string* error, std::string text)
{
    if (error)
        *error = std::move(text);
}

// The public suffix rules: the system list when installed, else the one
// built into libpsl. Without either, psl's default rule treats the last label
// as the suffix, which is right for most hosts.
const psl_ctx_t* suffixRules()
{
    static const psl_ctx_t* rules = [] {
        const psl_ctx_t* r = psl_latest(nullptr);
        return r ? r : psl_builtin();
    }();
    return rules;
}

} // namespace

std::optional<KTSiteAddress> KTSiteAddress::parse(std::string_view text, std::string* error)
{
    std::string input(text);
    GError* gerr = nullptr;
    GUri* uri = g_uri_parse(input.c_str(), G_URI_FLAGS_ENCODED, &gerr);
    if (!uri) {
        bool bare = input.find("://") == std::string::npos && !input.empty();
        setError(error, "\"" + input + "\" is not a URL" + (bare ? " (did you mean https://" + input + "?)" : ""));
        g_clear_error(&gerr);
        return std::nullopt;
    }
    std::unique_ptr<GUri, decltype(&g_uri_unref)> holder(uri, g_uri_unref);

    // The address is written into the launcher and the settings, which
    // anyone on the machine may read; a password has no place there. The
    // input is not echoed: it holds the password.
    if (const char* userinfo = g_uri_get_userinfo(uri); userinfo && *userinfo) {
        setError(error, "the URL holds a user name or password (\"user:password@\"), which would be written into "
                        "files others can read; give the address without it and sign in within the app");
        return std::nullopt;
    }
    KTSiteAddress site;
    site.scheme_ = lower(g_uri_get_scheme(uri));
    if (site.scheme_ != "http" && site.scheme_ != "https") {
        setError(error, "\"" + input + "\" is not an http or https URL");
        return std::nullopt;
    }
    const char* host = g_uri_get_host(uri);
    if (!host || !*host) {
        setError(error, "\"" + input + "\" has no host");
        return std::nullopt;
    }
    // Web views report international hosts in their ASCII form, and the
    // allow-list compares text, so the patterns must use it too.
    std::string rawHost = host;
    if (rawHost.find(':') == std::string::npos) {
        char* ascii = g_hostname_to_ascii(rawHost.c_str());
        if (!ascii) {
            setError(error, "\"" + input + "\" has an invalid host name");
            return std::nullopt;
        }
        rawHost = ascii;
        g_free(ascii);
    }
    site.host_ = lower(rawHost);
    if (site.host_.find_first_of(" \t\r\n/\\?#@") != std::string::npos || site.host_.front() == '.'
        || site.host_.back() == '.' || site.host_.find("..") != std::string::npos) {
        setError(error, "\"" + input + "\" has an invalid host name");
        return std::nullopt;
    }
    site.port_ = g_uri_get_port(uri);
    // Web views drop a scheme's own port from the address; so do we.
    if ((site.scheme_ == "http" && site.port_ == 80) || (site.scheme_ == "https" && site.port_ == 443))
        site.port_ = -1;

    std::string path = g_uri_get_path(uri);
    if (path.empty())
        path = "/";
    const char* query = g_uri_get_query(uri);
    const char* fragment = g_uri_get_fragment(uri);
    site.url_ = site.scheme_ + "://" + site.hostInUrl()
        + (site.port_ > 0 ? ":" + std::to_string(site.port_) : std::string()) + path
        + (query ? "?" + std::string(query) : std::string()) + (fragment ? "#" + std::string(fragment) : std::string());
    for (char c : site.url_)
        if (static_cast<unsigned char>(c) <= 0x20 || c == 0x7f) {
            setError(error, "\"" + input + "\" contains blanks or control characters");
            return std::nullopt;
        }
    return site;
}

std::string KTSiteAddress::hostInUrl() const
{
    return host_.find(':') != std::string::npos ? "[" + host_ + "]" : host_;
}

std::string KTSiteAddress::displayHost() const
{
    if (isIpAddress())
        return host_;
    char* unicode = g_hostname_to_unicode(host_.c_str());
    std::string out = unicode ? unicode : host_;
    g_free(unicode);
    return out;
}

bool KTSiteAddress::isIpAddress() const { return g_hostname_is_ip_address(host_.c_str()); }

bool KTSiteAddress::isLocalName() const
{
    return isIpAddress() || host_.find('.') == std::string::npos;
}

std::string KTSiteAddress::registrableDomain() const
{
    if (isLocalName())
        return host_;
    const char* domain = psl_registrable_domain(suffixRules(), host_.c_str());
    // A host that is itself a public suffix ("github.io") has no registrable
    // part; it is then its own domain.
    return domain ? std::string(domain) : host_;
}

std::vector<std::string> KTSiteAddress::defaultAllowPatterns() const
{
    if (isLocalName()) {
        // Another port on the same machine is another program: keep the origin only.
        std::string origin = "://" + hostInUrl() + (port_ > 0 ? ":" + std::to_string(port_) : std::string());
        return {origin + "/"};
    }
    // The domain must end at the path ("/", or the site's own port): a
    // bare ":" would also let "https://example.org:x@evil.test/" through.
    const std::string end = port_ > 0 ? ":" + std::to_string(port_) + "/" : std::string("/");
    const std::string domain = registrableDomain();
    return {"://" + domain + end, "." + domain + end};
}

std::string KTSiteAddress::displayDomain() const
{
    const std::string domain = registrableDomain();
    if (isIpAddress())
        return domain;
    char* unicode = g_hostname_to_unicode(domain.c_str());
    std::string out = unicode ? unicode : domain;
    g_free(unicode);
    return out;
}

} // namespace quilt
