#include "core/web/KTURLPattern.h"

namespace quilt {

bool KTURLPattern::matches(std::string_view pattern, std::string_view url, const Widen& widenFirst)
{
    size_t previous = 0;
    bool matchedAny = false;
    size_t start = 0;
    for (;;) {
        size_t star = pattern.find('*', start);
        std::string_view fragment = pattern.substr(start, star == std::string_view::npos ? pattern.npos : star - start);
        if (!fragment.empty()) {
            std::optional<std::string> widened;
            if (!matchedAny && widenFirst)
                widened = widenFirst(fragment);
            size_t at = url.find(widened ? std::string_view(*widened) : fragment);
            if (at == std::string_view::npos || at < previous)
                return false;
            previous = at;
            matchedAny = true;
        }
        if (star == std::string_view::npos)
            return true;
        start = star + 1;
    }
}

} // namespace quilt
