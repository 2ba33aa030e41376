#include "core/services/KTAppLoginSites.h"

#include <algorithm>
#include <cctype>

namespace quilt {

std::optional<std::string> KTAppLoginSites::addressOfPattern(const std::string& pattern)
{
    size_t start = pattern.find_first_not_of('*');
    if (start == std::string::npos)
        return std::nullopt;
    std::string piece = pattern.substr(start, pattern.find('*', start) - start);
    if (piece.rfind("http://", 0) == 0 || piece.rfind("https://", 0) == 0)
        return piece;
    piece.erase(0, piece.find_first_not_of('.'));
    piece = piece.substr(0, piece.find('/'));
    // "host" or "host:port"; anything else ("javascript:x.y") names no site.
    const size_t colon = piece.find(':');
    const std::string host = piece.substr(0, colon);
    const std::string port = colon == std::string::npos ? "1" : piece.substr(colon + 1);
    auto all = [](const std::string& text, auto ok) { return !text.empty() && std::all_of(text.begin(), text.end(), ok); };
    const bool hostLike = host.find('.') != std::string::npos
        && all(host, [](unsigned char c) { return std::isalnum(c) || c == '.' || c == '-'; })
        && all(port, [](unsigned char c) { return std::isdigit(c); });
    if (!hostLike)
        return std::nullopt;
    return "https://" + piece;
}

std::vector<std::string> KTAppLoginSites::addresses(const std::optional<std::string>& mainUrl, bool allowPatterns,
                                                    const std::vector<std::string>& patterns)
{
    std::vector<std::string> out;
    auto add = [&](const std::string& address) {
        if (!address.empty() && std::find(out.begin(), out.end(), address) == out.end())
            out.push_back(address);
    };
    if (mainUrl)
        add(*mainUrl);
    // A block-list names the sites the app does not show.
    if (allowPatterns)
        for (const auto& p : patterns)
            if (auto address = addressOfPattern(p))
                add(*address);
    return out;
}

} // namespace quilt
