#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// One response as WebKit asks about it, in plain values.
struct KTResponseInfo {
    std::string mimeType;
    std::string url; // the response URL as text
    std::optional<std::string> contentDisposition;
    bool isMainFrame = true;
    // The page's "download the next page" mark, set by the context menu's
    // download commands.
    bool needToDownload = false;
};

struct KTResponseDecision {
    enum class Action {
        Allow,      // show the response
        Download,   // hand fileName and the response URL to the downloads
        // Deliberately no answer. WebKit needs one, so the glue answers
        // ignore: the page stays as it was, which is what the user saw.
        NoDecision,
    };
    Action action = Action::Allow;
    bool cancel = false;
    std::string fileName;
    // The page's needToDownload mark was used up and must be cleared.
    bool clearNeedToDownload = false;

    bool operator==(const KTResponseDecision&) const = default;
};

// Which responses are shown and which become downloads.
class KTResponsePolicy {
public:
    static KTResponseDecision decide(const KTResponseInfo& response);

    // The file name in a Content-Disposition value, found the way the app
    // always has: the whole value is percent-decoded (UTF-8) first, then cut
    // at "filename" and at quotes. The quoted form gives the quoted text, the
    // extended form (filename*=UTF-8''name) the name, the bare form
    // (filename=x.pdf) gives "=x.pdf", and a value without "filename" (or
    // with broken percent escapes) gives nullopt.
    static std::optional<std::string> extractFileName(std::string_view contentDisposition);

    // The last path component of a URL's text, as a path would have it:
    // trailing "/" ignored, query and fragment kept ("https://h/a/b.pdf?x=1"
    // -> "b.pdf?x=1").
    static std::string lastPathComponent(std::string_view text);

    // Percent-decoding that fails (nullopt) on a "%" not followed by two hex
    // digits or on bytes that are not UTF-8.
    static std::optional<std::string> removePercentEncoding(std::string_view text);
};

} // namespace quilt
