#include "core/web/KTSiteIdentity.h"

#include "core/config/KTJson.h"

#include <glib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>

namespace quilt {

namespace {

char lower(char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowered(std::string_view s)
{
    std::string out(s);
    std::transform(out.begin(), out.end(), out.begin(), lower);
    return out;
}

bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f'; }

std::string_view trim(std::string_view s)
{
    while (!s.empty() && isBlank(s.front()))
        s.remove_prefix(1);
    while (!s.empty() && isBlank(s.back()))
        s.remove_suffix(1);
    return s;
}

std::vector<std::string> words(std::string_view s)
{
    std::vector<std::string> out;
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && isBlank(s[i]))
            ++i;
        size_t start = i;
        while (i < s.size() && !isBlank(s[i]))
            ++i;
        if (i > start)
            out.push_back(lowered(s.substr(start, i - start)));
    }
    return out;
}

void appendUtf8(std::string& out, unsigned long code)
{
    if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF))
        code = 0xFFFD;
    char buf[8];
    int n = g_unichar_to_utf8(static_cast<gunichar>(code), buf);
    out.append(buf, static_cast<size_t>(n));
}

// The character references a title or an attribute really uses.
std::string decodeEntities(std::string_view s)
{
    static const std::map<std::string, const char*, std::less<>> named = {
        {"amp", "&"}, {"lt", "<"}, {"gt", ">"}, {"quot", "\""}, {"apos", "'"}, {"nbsp", " "},
        {"ndash", "\u2013"}, {"mdash", "\u2014"}, {"middot", "\u00b7"}, {"bull", "\u2022"}, {"copy", "\u00a9"},
        {"reg", "\u00ae"}, {"trade", "\u2122"}, {"raquo", "\u00bb"}, {"laquo", "\u00ab"}, {"hellip", "\u2026"},
    };
    std::string out;
    out.reserve(s.size());
    for (size_t i = 0; i < s.size(); ++i) {
        if (s[i] != '&') {
            out.push_back(s[i]);
            continue;
        }
        const size_t semi = s.find(';', i);
        if (semi == std::string_view::npos || semi - i > 10) {
            out.push_back('&');
            continue;
        }
        std::string_view ref = s.substr(i + 1, semi - i - 1);
        if (ref.size() > 1 && ref[0] == '#') {
            const bool hex = ref[1] == 'x' || ref[1] == 'X';
            std::string_view digits = ref.substr(hex ? 2 : 1);
            unsigned long code = 0;
            auto [ptr, ec] = std::from_chars(digits.data(), digits.data() + digits.size(), code, hex ? 16 : 10);
            if (digits.empty() || ec != std::errc() || ptr != digits.data() + digits.size()) {
                out.push_back('&');
                continue;
            }
            appendUtf8(out, code);
        } else if (auto it = named.find(ref); it != named.end()) {
            out += it->second;
        } else {
            out.push_back('&');
            continue;
        }
        i = semi;
    }
    return out;
}

using Attributes = std::map<std::string, std::string>;

// One start tag from just after its name to just after its ">": the
// attributes, lower-cased names, values decoded. `pos` moves past the tag.
Attributes readAttributes(std::string_view html, size_t& pos)
{
    Attributes attrs;
    while (pos < html.size()) {
        while (pos < html.size() && (isBlank(html[pos]) || html[pos] == '/'))
            ++pos;
        if (pos >= html.size())
            break;
        if (html[pos] == '>') {
            ++pos;
            break;
        }
        size_t start = pos;
        while (pos < html.size() && !isBlank(html[pos]) && html[pos] != '=' && html[pos] != '>' && html[pos] != '/')
            ++pos;
        std::string name = lowered(html.substr(start, pos - start));
        if (name.empty()) { // a stray "=": skip it
            ++pos;
            continue;
        }
        while (pos < html.size() && isBlank(html[pos]))
            ++pos;
        std::string value;
        if (pos < html.size() && html[pos] == '=') {
            ++pos;
            while (pos < html.size() && isBlank(html[pos]))
                ++pos;
            if (pos < html.size() && (html[pos] == '"' || html[pos] == '\'')) {
                const char quote = html[pos++];
                size_t end = html.find(quote, pos);
                if (end == std::string_view::npos)
                    end = html.size();
                value = decodeEntities(html.substr(pos, end - pos));
                pos = std::min(end + 1, html.size());
            } else {
                start = pos;
                while (pos < html.size() && !isBlank(html[pos]) && html[pos] != '>')
                    ++pos;
                value = decodeEntities(html.substr(start, pos - start));
            }
        }
        attrs.emplace(std::move(name), std::move(value));
    }
    return attrs;
}

bool startsWithNoCase(std::string_view s, size_t at, std::string_view prefix)
{
    if (s.size() - at < prefix.size())
        return false;
    for (size_t i = 0; i < prefix.size(); ++i)
        if (lower(s[at + i]) != prefix[i])
            return false;
    return true;
}

size_t findNoCase(std::string_view s, std::string_view needle, size_t from)
{
    for (size_t i = from; i + needle.size() <= s.size(); ++i)
        if (startsWithNoCase(s, i, needle))
            return i;
    return std::string_view::npos;
}

std::string collapseBlanks(std::string_view s)
{
    std::string out;
    bool blank = false;
    for (char c : trim(s)) {
        if (isBlank(c)) {
            blank = true;
            continue;
        }
        if (blank)
            out.push_back(' ');
        blank = false;
        out.push_back(c);
    }
    return out;
}

KTSiteIdentity::Icon iconFrom(const std::string& url, std::string_view sizes, std::string_view type,
                              KTSiteIdentity::IconSource source)
{
    KTSiteIdentity::Icon icon;
    icon.url = url;
    icon.source = source;
    const auto parsed = KTSiteIdentity::parseSizes(sizes);
    std::string path = lowered(url.substr(0, url.find_first_of("?#")));
    icon.scalable = parsed.any || lowered(type) == "image/svg+xml" || path.ends_with(".svg");
    icon.size = parsed.largestSquare;
    icon.square = parsed.largestSquare > 0 || parsed.largestAny == 0;
    if (!icon.square)
        icon.size = parsed.largestAny;
    return icon;
}

std::string text(const KTJson& object, const char* key)
{
    auto value = json::lookup(object, key);
    return value && value->is_string() ? value->get<std::string>() : std::string();
}

// Ranking weight of an icon's side when the site does not say it: an
// apple-touch-icon is 180 px by convention, a favicon usually 16 to 48.
int assumedSize(const KTSiteIdentity::Icon& icon)
{
    if (icon.scalable)
        return 1 << 20;
    if (icon.size > 0)
        return icon.size;
    switch (icon.source) {
    case KTSiteIdentity::IconSource::AppleTouch:
        return 180;
    case KTSiteIdentity::IconSource::Manifest:
        return 64;
    default:
        return 16;
    }
}

} // namespace

KTSiteIdentity::Sizes KTSiteIdentity::parseSizes(std::string_view text)
{
    Sizes out;
    for (const auto& word : words(text)) {
        if (word == "any") {
            out.any = true;
            continue;
        }
        const size_t x = word.find('x');
        if (x == std::string::npos)
            continue;
        int w = 0, h = 0;
        auto [pw, ew] = std::from_chars(word.data(), word.data() + x, w);
        auto [ph, eh] = std::from_chars(word.data() + x + 1, word.data() + word.size(), h);
        if (ew != std::errc() || eh != std::errc() || pw != word.data() + x || ph != word.data() + word.size()
            || w <= 0 || h <= 0 || w > 65536 || h > 65536)
            continue;
        if (w == h)
            out.largestSquare = std::max(out.largestSquare, w);
        out.largestAny = std::max(out.largestAny, std::min(w, h));
    }
    return out;
}

std::optional<std::string> KTSiteIdentity::resolve(const std::string& base, std::string_view ref)
{
    const std::string trimmed(trim(ref));
    if (trimmed.empty() || trimmed.size() > 8192)
        return std::nullopt;
    GError* error = nullptr;
    gchar* resolved = g_uri_resolve_relative(base.c_str(), trimmed.c_str(), G_URI_FLAGS_NONE, &error);
    if (!resolved) {
        g_clear_error(&error);
        return std::nullopt;
    }
    std::string out = resolved;
    g_free(resolved);
    const std::string scheme = lowered(out.substr(0, out.find(':')));
    if (scheme != "http" && scheme != "https")
        return std::nullopt;
    return out;
}

std::string KTSiteIdentity::originOf(const std::string& url)
{
    GUri* uri = g_uri_parse(url.c_str(), G_URI_FLAGS_NONE, nullptr);
    if (!uri)
        return {};
    std::string out;
    if (const char* host = g_uri_get_host(uri); host && *host) {
        std::string scheme = lowered(g_uri_get_scheme(uri));
        int port = g_uri_get_port(uri);
        if ((scheme == "http" && port == 80) || (scheme == "https" && port == 443))
            port = -1;
        out = scheme + "://" + lowered(host) + (port > 0 ? ":" + std::to_string(port) : "");
    }
    g_uri_unref(uri);
    return out;
}

std::optional<std::string> KTSiteIdentity::cssColor(std::string_view input)
{
    const std::string s = lowered(trim(input));
    auto hex = [](char c) -> int {
        if (c >= '0' && c <= '9')
            return c - '0';
        if (c >= 'a' && c <= 'f')
            return c - 'a' + 10;
        return -1;
    };
    auto format = [](int r, int g, int b) {
        char buf[8];
        std::snprintf(buf, sizeof buf, "#%02x%02x%02x", r, g, b);
        return std::string(buf);
    };
    if (!s.empty() && s[0] == '#') {
        std::string digits = s.substr(1);
        if (!std::all_of(digits.begin(), digits.end(), [&](char c) { return hex(c) >= 0; }))
            return std::nullopt;
        if (digits.size() == 3 || digits.size() == 4)
            return format(hex(digits[0]) * 17, hex(digits[1]) * 17, hex(digits[2]) * 17);
        if (digits.size() == 6 || digits.size() == 8)
            return format(hex(digits[0]) * 16 + hex(digits[1]), hex(digits[2]) * 16 + hex(digits[3]),
                          hex(digits[4]) * 16 + hex(digits[5]));
        return std::nullopt;
    }
    if (s.starts_with("rgb(") || s.starts_with("rgba(")) {
        if (s.back() != ')')
            return std::nullopt;
        std::string inner = s.substr(s.find('(') + 1);
        inner.pop_back();
        std::replace(inner.begin(), inner.end(), ',', ' ');
        std::replace(inner.begin(), inner.end(), '/', ' ');
        auto parts = words(inner);
        if (parts.size() != 3 && parts.size() != 4)
            return std::nullopt;
        int rgb[3];
        for (int i = 0; i < 3; ++i) {
            std::string part = parts[static_cast<size_t>(i)];
            const bool percent = !part.empty() && part.back() == '%';
            if (percent)
                part.pop_back();
            double v = 0;
            auto [ptr, ec] = std::from_chars(part.data(), part.data() + part.size(), v);
            if (part.empty() || ec != std::errc() || ptr != part.data() + part.size() || !std::isfinite(v))
                return std::nullopt;
            if (percent)
                v = v * 255.0 / 100.0;
            rgb[i] = static_cast<int>(std::lround(std::clamp(v, 0.0, 255.0)));
        }
        return format(rgb[0], rgb[1], rgb[2]);
    }
    static const std::map<std::string, const char*, std::less<>> names = {
        {"black", "#000000"}, {"white", "#ffffff"}, {"red", "#ff0000"},  {"green", "#008000"},
        {"blue", "#0000ff"},  {"gray", "#808080"},  {"grey", "#808080"}, {"navy", "#000080"},
        {"teal", "#008080"},  {"purple", "#800080"}, {"orange", "#ffa500"}, {"silver", "#c0c0c0"},
    };
    if (auto it = names.find(s); it != names.end())
        return std::string(it->second);
    return std::nullopt;
}

std::string KTSiteIdentity::cleanName(std::string_view input)
{
    std::string valid;
    const char* end = nullptr;
    if (!g_utf8_validate(input.data(), static_cast<gssize>(input.size()), &end))
        input = input.substr(0, static_cast<size_t>(end - input.data()));
    for (char c : input) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '/' || c == '%')
            continue;
        valid.push_back(u < 0x20 || u == 0x7f ? ' ' : c);
    }
    std::string out = collapseBlanks(valid);
    size_t dots = out.find_first_not_of(". ");
    out.erase(0, dots == std::string::npos ? out.size() : dots);
    if (out.size() > kMaxNameBytes) {
        // Cut at a character boundary, then drop a trailing blank.
        const char* cut = g_utf8_find_prev_char(out.data(), out.data() + kMaxNameBytes + 1);
        out.resize(cut ? static_cast<size_t>(cut - out.data()) : 0);
        while (!out.empty() && out.back() == ' ')
            out.pop_back();
    }
    return out;
}

KTSiteIdentity::Head KTSiteIdentity::parseHead(std::string_view html, const std::string& pageUrl)
{
    Head head;
    std::string base = pageUrl;
    bool baseSeen = false;
    struct Link {
        std::vector<std::string> rel;
        Attributes attrs;
    };
    std::vector<Link> links;
    std::optional<std::string> themeColor;
    size_t pos = 0;
    while ((pos = html.find('<', pos)) != std::string_view::npos) {
        if (html.compare(pos, 4, "<!--") == 0) {
            const size_t end = html.find("-->", pos + 4);
            if (end == std::string_view::npos)
                break;
            pos = end + 3;
            continue;
        }
        ++pos;
        size_t nameEnd = pos;
        while (nameEnd < html.size() && (g_ascii_isalnum(html[nameEnd]) || html[nameEnd] == '/'))
            ++nameEnd;
        const std::string tag = lowered(html.substr(pos, nameEnd - pos));
        pos = nameEnd;
        if (tag == "body" || tag == "/head")
            break;
        if (tag == "script" || tag == "style" || tag == "noscript" || tag == "template") {
            // Their text is not markup: skip to the closing tag.
            readAttributes(html, pos);
            const size_t close = findNoCase(html, "</" + tag, pos);
            if (close == std::string_view::npos)
                break;
            pos = close + 2;
            continue;
        }
        if (tag == "title") {
            readAttributes(html, pos);
            size_t close = findNoCase(html, "</title", pos);
            if (head.title.empty())
                head.title = collapseBlanks(decodeEntities(html.substr(pos, close == std::string_view::npos
                                                                                  ? std::min<size_t>(html.size() - pos, 4096)
                                                                                  : close - pos)));
            if (close == std::string_view::npos)
                break;
            pos = close + 2;
            continue;
        }
        if (tag != "link" && tag != "meta" && tag != "base") {
            continue;
        }
        Attributes attrs = readAttributes(html, pos);
        if (tag == "base") {
            if (auto href = attrs.find("href"); !baseSeen && href != attrs.end())
                if (auto resolved = resolve(pageUrl, href->second)) {
                    base = *resolved;
                    baseSeen = true;
                }
        } else if (tag == "meta") {
            auto name = attrs.find("name");
            auto content = attrs.find("content");
            // The first theme colour that applies whatever the colour scheme.
            if (name != attrs.end() && lowered(trim(name->second)) == "theme-color" && content != attrs.end()
                && !themeColor && (attrs.count("media") == 0 || lowered(attrs["media"]).find("light") != std::string::npos))
                themeColor = cssColor(content->second);
        } else {
            links.push_back({words(attrs["rel"]), std::move(attrs)});
        }
    }
    head.themeColor = themeColor;
    // Links resolve against the <base>, wherever in the head it stands.
    for (auto& link : links) {
        auto has = [&](const char* r) { return std::find(link.rel.begin(), link.rel.end(), r) != link.rel.end(); };
        auto href = resolve(base, link.attrs["href"]);
        if (!href)
            continue;
        if (has("manifest")) {
            if (!head.manifestUrl)
                head.manifestUrl = href;
        } else if (has("apple-touch-icon") || has("apple-touch-icon-precomposed")) {
            head.icons.push_back(iconFrom(*href, link.attrs["sizes"], link.attrs["type"], IconSource::AppleTouch));
        } else if (has("icon")) {
            head.icons.push_back(iconFrom(*href, link.attrs["sizes"], link.attrs["type"], IconSource::Link));
        }
    }
    return head;
}

std::optional<KTSiteIdentity::Manifest> KTSiteIdentity::parseManifest(std::string_view source,
                                                                      const std::string& manifestUrl,
                                                                      const std::string& pageUrl, std::string* error)
{
    auto parsed = json::parse(source, error);
    if (!parsed)
        return std::nullopt;
    if (!parsed->is_object()) {
        if (error)
            *error = "not a JSON object";
        return std::nullopt;
    }
    const KTJson& m = *parsed;
    Manifest out;
    out.name = cleanName(text(m, "name"));
    out.shortName = cleanName(text(m, "short_name"));
    const std::string origin = originOf(pageUrl);
    if (auto start = resolve(manifestUrl, text(m, "start_url")); start && originOf(*start) == origin)
        out.startUrl = start;
    if (auto scope = resolve(manifestUrl, text(m, "scope")); scope && originOf(*scope) == origin)
        out.scope = scope;
    out.themeColor = cssColor(text(m, "theme_color"));
    if (auto icons = json::lookup(m, "icons"); icons && icons->is_array()) {
        for (const auto& entry : *icons) {
            if (!entry.is_object())
                continue;
            // Icons only for masks or single colours would look wrong as the app's own.
            const auto purposes = words(text(entry, "purpose"));
            if (!purposes.empty() && std::find(purposes.begin(), purposes.end(), "any") == purposes.end())
                continue;
            if (auto src = resolve(manifestUrl, text(entry, "src")))
                out.icons.push_back(iconFrom(*src, text(entry, "sizes"), text(entry, "type"), IconSource::Manifest));
        }
    }
    return out;
}

std::vector<KTSiteIdentity::Icon> KTSiteIdentity::rankIcons(std::vector<Icon> icons)
{
    std::stable_sort(icons.begin(), icons.end(), [](const Icon& a, const Icon& b) {
        if (a.square != b.square)
            return a.square;
        const int sa = assumedSize(a), sb = assumedSize(b);
        if (sa != sb)
            return sa > sb;
        return static_cast<int>(a.source) < static_cast<int>(b.source);
    });
    // One address offered twice is tried once.
    std::vector<Icon> out;
    for (auto& icon : icons)
        if (std::none_of(out.begin(), out.end(), [&](const Icon& o) { return o.url == icon.url; }))
            out.push_back(std::move(icon));
    return out;
}

KTSiteIdentity KTSiteIdentity::combine(const Head& head, const std::optional<Manifest>& manifest,
                                       const std::string& pageUrl)
{
    KTSiteIdentity id;
    std::vector<Icon> icons;
    if (manifest) {
        id.fromManifest = true;
        id.name = !manifest->name.empty() ? manifest->name : manifest->shortName;
        id.shortName = manifest->shortName;
        id.startUrl = manifest->startUrl;
        id.scope = manifest->scope;
        id.themeColor = manifest->themeColor;
        icons = manifest->icons;
    }
    if (id.name.empty())
        id.name = cleanName(head.title);
    if (id.name.empty()) {
        GUri* uri = g_uri_parse(pageUrl.c_str(), G_URI_FLAGS_NONE, nullptr);
        const char* host = uri ? g_uri_get_host(uri) : nullptr;
        id.name = cleanName(host ? host : "");
        if (uri)
            g_uri_unref(uri);
    }
    if (id.shortName.empty())
        id.shortName = id.name;
    if (!id.themeColor)
        id.themeColor = head.themeColor;
    icons.insert(icons.end(), head.icons.begin(), head.icons.end());
    if (icons.empty())
        if (auto favicon = resolve(pageUrl, "/favicon.ico"))
            icons.push_back(Icon {*favicon, 0, false, true, IconSource::Favicon});
    id.icons = rankIcons(std::move(icons));
    return id;
}

} // namespace quilt
