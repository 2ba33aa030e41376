#include "core/web/KTTypedAddress.h"

#include <glib.h>

namespace quilt {

namespace {

// GLib's parser is lenient where the strict URL parser the typed-address
// rules were written against refuses: it takes spaces, quotes and braces in
// hosts and paths. Text with such characters is no URL at all there, so it
// has no scheme (and becomes a search or an "https://" address) and no host
// (so nothing loads). Characters beyond ASCII are accepted on purpose: an
// international domain name or path typed by a Linux user should load, as it
// does in the user's browser; GLib turns such hosts into their ASCII form.
bool hasOnlyUrlCharacters(std::string_view text)
{
    int hashes = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        unsigned char c = static_cast<unsigned char>(text[i]);
        if (c <= 0x20 || c == 0x7f)
            return false;
        switch (c) {
        case '"': case '<': case '>': case '\\': case '^': case '`': case '{': case '|': case '}':
            return false;
        case '#':
            if (++hashes > 1)
                return false;
            break;
        case '%':
            if (i + 2 >= text.size() || !g_ascii_isxdigit(text[i + 1]) || !g_ascii_isxdigit(text[i + 2]))
                return false;
            break;
        default:
            break;
        }
    }
    return true;
}

std::string replaceAll(std::string_view text, std::string_view from, std::string_view to)
{
    std::string out;
    for (size_t start = 0;;) {
        size_t at = text.find(from, start);
        out.append(text.substr(start, at == std::string_view::npos ? text.npos : at - start));
        if (at == std::string_view::npos)
            return out;
        out.append(to);
        start = at + from.size();
    }
}

} // namespace

std::optional<KTTypedAddress::Parsed> KTTypedAddress::parse(std::string_view text)
{
    if (!hasOnlyUrlCharacters(text))
        return std::nullopt;
    // g_uri_split reads relative references too ("example.com/x" has no
    // scheme), which the address rules rely on.
    char* scheme = nullptr;
    char* host = nullptr;
    if (!g_uri_split(std::string(text).c_str(), G_URI_FLAGS_NONE, &scheme, nullptr, &host, nullptr, nullptr, nullptr,
                     nullptr, nullptr))
        return std::nullopt;
    Parsed parsed;
    if (scheme)
        parsed.scheme = scheme;
    if (host)
        parsed.host = host;
    g_free(scheme);
    g_free(host);
    return parsed;
}

std::optional<std::string> KTTypedAddress::urlToLoad(std::string_view typed, const ShortcutLookup& findUrlForShortcut,
                                                     std::string_view searchTemplate)
{
    std::string text(typed);
    if (findUrlForShortcut)
        if (auto url = findUrlForShortcut(typed); url && !url->empty())
            text = *url;

    auto parsed = parse(text);
    const bool hasScheme = parsed && parsed->scheme;
    std::string address = text;
    if (text.find('.') == std::string::npos && !hasScheme)
        address = replaceAll(searchTemplate, "%s", replaceAll(text, " ", "%20"));
    // Tested on the text as typed, not on the search URL: a search gets
    // "https://" in front of the whole search URL too.
    if (!hasScheme)
        address = "https://" + address;

    auto result = parse(address);
    if (!result || !result->host || result->host->empty())
        return std::nullopt;
    return address;
}

std::optional<std::string> KTTypedAddress::goHome(bool openEmptyPage, const std::optional<std::string>& mainUrl)
{
    if (openEmptyPage)
        return std::nullopt;
    return mainUrl;
}

} // namespace quilt
