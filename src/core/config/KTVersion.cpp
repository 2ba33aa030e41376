#include "core/config/KTVersion.h"

namespace quilt {

namespace {
bool isDigit(char c) { return c >= '0' && c <= '9'; }
} // namespace

int KTVersion::compare(std::string_view a, std::string_view b)
{
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            size_t si = i, sj = j;
            while (si < a.size() && a[si] == '0')
                ++si;
            while (sj < b.size() && b[sj] == '0')
                ++sj;
            size_t ei = si, ej = sj;
            while (ei < a.size() && isDigit(a[ei]))
                ++ei;
            while (ej < b.size() && isDigit(b[ej]))
                ++ej;
            // Without leading zeros the longer run is the larger number.
            if (ei - si != ej - sj)
                return ei - si < ej - sj ? -1 : 1;
            if (int c = a.substr(si, ei - si).compare(b.substr(sj, ej - sj)); c != 0)
                return c < 0 ? -1 : 1;
            i = ei;
            j = ej;
            continue;
        }
        if (a[i] != b[j])
            return static_cast<unsigned char>(a[i]) < static_cast<unsigned char>(b[j]) ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size())
        return 1;
    if (j < b.size())
        return -1;
    return 0;
}

} // namespace quilt
