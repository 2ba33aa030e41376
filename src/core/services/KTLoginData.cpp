#include "core/services/KTLoginData.h"

#include <glib.h>

namespace quilt {

KTLoginData KTLoginData::found(std::string username, std::string password, std::string url)
{
    KTLoginData data;
    data.initialUsername = username;
    data.initialPassword = password;
    data.username = std::move(username);
    data.password = std::move(password);
    data.host = hostOf(url);
    data.url = std::move(url);
    return data;
}

void KTLoginData::setUsername(std::string value)
{
    username = std::move(value);
    changed = true;
}

void KTLoginData::setPassword(std::string value)
{
    password = std::move(value);
    changed = true;
}

void KTLoginData::fill(std::string user, std::string pass)
{
    setUsername(std::move(user));
    setPassword(std::move(pass));
}

bool KTLoginData::mayOfferToSave() const { return changed && !username.empty() && !password.empty(); }

std::vector<KTCredentials> KTLoginData::menuItems(const std::vector<KTCredentials>& saved, FieldType field) const
{
    std::vector<KTCredentials> items;
    for (const KTCredentials& c : saved) {
        const std::string user = c.username.value_or("");
        if (!username.empty() && user.compare(0, username.size(), username) != 0)
            continue;
        if (field == FieldType::Username && user == username)
            continue;
        items.push_back(c);
    }
    return items;
}

std::string KTLoginData::hostOf(const std::string& url)
{
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return "";
    const char* scheme = g_uri_get_scheme(uri);
    const char* host = g_uri_get_host(uri);
    std::string out;
    if (host && scheme && (g_ascii_strcasecmp(scheme, "http") == 0 || g_ascii_strcasecmp(scheme, "https") == 0))
        out = host;
    g_uri_unref(uri);
    return out;
}

namespace {

// "scheme://host:port" in lower case, "" when the address has no site.
std::string siteOf(const std::string& url)
{
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return "";
    std::string site;
    const char* host = g_uri_get_host(uri);
    char* scheme = g_ascii_strdown(g_uri_get_scheme(uri), -1);
    const bool web = std::string(scheme) == "http" || std::string(scheme) == "https";
    if (web && host && *host) {
        int port = g_uri_get_port(uri);
        if (port < 0)
            port = std::string(scheme) == "https" ? 443 : 80;
        char* lowerHost = g_ascii_strdown(host, -1);
        site = std::string(scheme) + "://" + lowerHost + ":" + std::to_string(port);
        g_free(lowerHost);
    }
    g_free(scheme);
    g_uri_unref(uri);
    return site;
}

} // namespace

bool KTLoginData::sameSite(const std::string& a, const std::string& b)
{
    const std::string site = siteOf(a);
    return !site.empty() && site == siteOf(b);
}

} // namespace quilt
