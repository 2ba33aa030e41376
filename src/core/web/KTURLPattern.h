#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// The pattern language of the allow-list and of user scripts and styles: a
// pattern is split at "*" into fragments; every non-empty fragment must occur
// in the URL (case-sensitive, searched from the URL's start) and the first
// occurrences must not go backwards. Overlaps are allowed; a fragment whose
// first occurrence lies before the previous one's fails even if it occurs
// again later.
class KTURLPattern {
public:
    // widenFirst, when set, may replace the first non-empty fragment by
    // another text to look for (the allow-list's subdomain widening).
    using Widen = std::function<std::optional<std::string>(std::string_view fragment)>;

    static bool matches(std::string_view pattern, std::string_view url, const Widen& widenFirst = {});
};

} // namespace quilt
