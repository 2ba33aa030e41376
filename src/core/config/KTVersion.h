#pragma once

#include <string_view>

namespace quilt {

// Version strings compared as the registry needs: runs of digits compare by
// value, so "1.10" is newer than "1.9"; other characters compare as text.
class KTVersion {
public:
    // <0 when a is older than b, 0 when equal, >0 when newer.
    static int compare(std::string_view a, std::string_view b);
};

} // namespace quilt
