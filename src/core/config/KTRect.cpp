#include "core/config/KTRect.h"

#include "core/config/KTNumber.h"

#include <cmath>
#include <optional>
#include <string>

namespace quilt {

namespace {
std::string number(double v) { return KTNumber::format(v); }
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
            size_t used = 0;
            std::optional<double> d = KTNumber::parse(p, &used);
            if (!d) {
                ++p;
                continue;
            }
            v[n++] = std::isfinite(*d) ? *d : 0;
            p += used;
        } else {
            ++p;
        }
    }
    return KTRect{v[0], v[1], v[2], v[3]};
}

} // namespace quilt
