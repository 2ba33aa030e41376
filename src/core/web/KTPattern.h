#pragma once

#include "core/config/KTJson.h"

#include <cstdint>
#include <optional>
#include <string>

namespace quilt {

// One named URL pattern of a user script or style rule. Its text is also
// its name and its key in the rule.
class KTPattern {
public:
    KTPattern() = default;
    KTPattern(std::string name, int64_t state)
        : name(std::move(name))
        , state(state)
    {
    }

    // From a file object: "name" (a string) and the integer value of "state"
    // (0 when missing). nullopt when there is no string name.
    static std::optional<KTPattern> initWithDictionary(const KTJson& dictionary);
    KTJson toDictionary() const;

    std::string name;
    // 1 enabled, 0 disabled. Stored and edited, but matching ignores it.
    int64_t state = 0;

    bool operator==(const KTPattern&) const = default;
};

} // namespace quilt
