#pragma once

#include "core/config/KTJson.h"

#include <optional>
#include <string>

namespace quilt {

// Property lists (XML or binary) read into and written from the store's JSON
// values: dict <-> object, array, string, bool, integer, real. Dates become
// seconds since 2001 as a number and data becomes its bytes as a string.
class KTPlist {
public:
    static std::optional<KTJson> readFile(const std::string& path, std::string* error = nullptr);
    static std::optional<KTJson> parse(std::string_view bytes, std::string* error = nullptr);
    static std::string toXml(const KTJson& value);
    // Written as XML, atomically.
    static bool writeFile(const std::string& path, const KTJson& value, std::string* error = nullptr);
};

} // namespace quilt
