#pragma once

#include "core/config/KTJson.h"

#include <optional>
#include <string>
#include <string_view>

namespace quilt {

// Reads the store files. It builds the same KTJson values as nlohmann's
// parser (integers as int64 when negative and uint64 otherwise, falling back
// to double when they do not fit; a repeated key keeps its first position and
// its last value; UTF-8 checked; a leading byte order mark skipped) several
// times faster, since it scans the text directly instead of through an input
// adapter one character at a time. Documents nested deeper than kMaxDepth
// are refused, so a hostile file cannot exhaust the stack.
class KTJsonReader {
public:
    static constexpr int kMaxDepth = 512;

    // The value, or nullopt with "parse error at line L, column C: ..." in *error.
    static std::optional<KTJson> parse(std::string_view text, std::string* error = nullptr);
};

} // namespace quilt
