#include "core/config/KTNumber.h"

#include <glib.h>

#include <charconv>
#include <cmath>

namespace quilt {

std::string KTNumber::format(double value, int decimals)
{
    if (!std::isfinite(value))
        value = 0;
    char buf[400]; // fixed notation of the largest double needs 309 digits
    auto res = decimals < 0 ? std::to_chars(buf, buf + sizeof buf, value)
                            : std::to_chars(buf, buf + sizeof buf, value, std::chars_format::fixed, decimals);
    if (res.ec != std::errc())
        return "0";
    return std::string(buf, res.ptr);
}

std::optional<double> KTNumber::parse(std::string_view text, size_t* used)
{
    std::string copy(text); // g_ascii_strtod needs a terminated string
    char* end = nullptr;
    double value = g_ascii_strtod(copy.c_str(), &end);
    size_t n = static_cast<size_t>(end - copy.c_str());
    if (used)
        *used = n;
    if (n == 0)
        return std::nullopt;
    return value;
}

namespace {
locale_t cNumericLocale()
{
    // Made once and kept: a locale object is cheap and never changes.
    static locale_t c = newlocale(LC_NUMERIC_MASK, "C", duplocale(LC_GLOBAL_LOCALE));
    return c;
}
} // namespace

KTCNumericScope::KTCNumericScope()
{
    if (locale_t c = cNumericLocale())
        previous_ = uselocale(c);
}

KTCNumericScope::~KTCNumericScope()
{
    if (previous_)
        uselocale(previous_);
}

} // namespace quilt
