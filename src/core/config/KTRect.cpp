#include "core/config/KTRect.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace quilt {

namespace {
std::string number(double v)
{
    if (!std::isfinite(v))
        v = 0;
    char buf[32];
    auto res = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, res.ptr);
}
} // namespace

std::string KTRect::toString() const
{
    return "{{" + number(x) + ", " + number(y) + "}, {" + number(width) + ", " + number(height) + "}}";
}

KTRect KTRect::fromString(std::string_view text)
{
    double v[4] = {0, 0, 0, 0};
    std::string s(text);
    const char* p = s.c_str();
    int n = 0;
    while (*p && n < 4) {
        if ((*p >= '0' && *p <= '9') || *p == '-' || *p == '+' || *p == '.') {
            char* end = nullptr;
            double d = std::strtod(p, &end);
            if (end == p) {
                ++p;
                continue;
            }
            v[n++] = std::isfinite(d) ? d : 0;
            p = end;
        } else {
            ++p;
        }
    }
    return KTRect{v[0], v[1], v[2], v[3]};
}

} // namespace quilt
