#include "core/web/KTResponsePolicy.h"

#include <glib.h>

#include <vector>

namespace quilt {

namespace {

bool contains(std::string_view text, std::string_view part)
{
    return text.find(part) != std::string_view::npos;
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator)
{
    std::vector<std::string_view> pieces;
    for (size_t from = 0;;) {
        size_t at = text.find(separator, from);
        pieces.push_back(text.substr(from, at == std::string_view::npos ? text.npos : at - from));
        if (at == std::string_view::npos)
            return pieces;
        from = at + separator.size();
    }
}

KTResponseDecision download(std::string fileName)
{
    KTResponseDecision d;
    d.action = KTResponseDecision::Action::Download;
    d.cancel = true;
    d.fileName = std::move(fileName);
    return d;
}

} // namespace

std::optional<std::string> KTResponsePolicy::removePercentEncoding(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out.push_back(text[i]);
            continue;
        }
        if (i + 2 >= text.size())
            return std::nullopt;
        int hi = g_ascii_xdigit_value(text[i + 1]);
        int lo = g_ascii_xdigit_value(text[i + 2]);
        if (hi < 0 || lo < 0)
            return std::nullopt;
        out.push_back(static_cast<char>(hi * 16 + lo));
        i += 2;
    }
    if (!g_utf8_validate(out.data(), static_cast<gssize>(out.size()), nullptr))
        return std::nullopt;
    return out;
}

std::optional<std::string> KTResponsePolicy::extractFileName(std::string_view contentDisposition)
{
    auto decoded = removePercentEncoding(contentDisposition);
    if (!decoded)
        return std::nullopt;
    auto pieces = split(*decoded, "filename");
    if (pieces.size() < 2)
        return std::nullopt;
    std::string_view name = split(pieces[1], "=\"").back();
    name = split(name, "\"").front();
    const std::string_view marker = "UTF-8''";
    if (contains(name, marker))
        return decoded->substr(decoded->rfind(marker) + marker.size());
    return std::string(name);
}

std::string KTResponsePolicy::lastPathComponent(std::string_view text)
{
    while (text.size() > 1 && text.back() == '/')
        text.remove_suffix(1);
    if (text == "/")
        return "/";
    size_t slash = text.rfind('/');
    return std::string(slash == std::string_view::npos ? text : text.substr(slash + 1));
}

KTResponseDecision KTResponsePolicy::decide(const KTResponseInfo& response)
{
    std::optional<std::string> name;
    if (response.contentDisposition)
        name = extractFileName(*response.contentDisposition);

    if (!response.isMainFrame) {
        // Frames show their content unless the server marks it an attachment.
        if (!name || name->empty())
            return {};
        if (contains(*response.contentDisposition, "attachment"))
            return download(*name);
        return {};
    }

    std::string fileName = name && !name->empty() ? *name : lastPathComponent(response.url);
    const std::string& mime = response.mimeType;
    for (std::string_view kind : {"application", "audio", "binary", "video"})
        if (contains(mime, kind))
            return download(fileName);
    if (contains(mime, "image")) {
        if (contains(fileName, "?")) {
            KTResponseDecision d;
            d.action = KTResponseDecision::Action::NoDecision;
            d.cancel = true;
            return d;
        }
        return download(fileName);
    }
    if (response.needToDownload && contains(mime, "html")) {
        auto d = download(fileName + ".html");
        d.clearNeedToDownload = true;
        return d;
    }
    return {};
}

} // namespace quilt
