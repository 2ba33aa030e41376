#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace quilt::fuzz {

// Splits one input into several texts at NUL bytes, and reads a few flag
// bits from its first byte, so one input can drive a call of several
// arguments; a missing part is empty.
class KTFuzzInput {
public:
    KTFuzzInput(const uint8_t* data, size_t size)
        : rest_(reinterpret_cast<const char*>(data), size)
    {
    }
    uint8_t flags()
    {
        if (rest_.empty())
            return 0;
        uint8_t f = static_cast<uint8_t>(rest_[0]);
        rest_.remove_prefix(1);
        return f;
    }
    std::string_view next()
    {
        size_t end = rest_.find('\0');
        std::string_view part = rest_.substr(0, end);
        rest_ = end == std::string_view::npos ? std::string_view() : rest_.substr(end + 1);
        return part;
    }

private:
    std::string_view rest_;
};

} // namespace quilt::fuzz
