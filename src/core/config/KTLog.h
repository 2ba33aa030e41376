#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace quilt {

// The system log: plain lines on standard error (the journal, for apps
// started from the desktop). Debug lines, such as whole store dumps, are only
// written when QUILT_DEBUG is set, so saving a large store costs nothing extra.
class KTLog {
public:
    using Sink = std::function<void(std::string_view)>;

    static void line(std::string_view text);
    static bool debugEnabled();
    static void debug(std::string_view text);

    // Tests capture the log; passing an empty sink restores standard error.
    static void setSink(Sink sink);
};

} // namespace quilt
