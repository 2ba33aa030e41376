#pragma once

#include <cstdint>
#include <vector>

namespace quilt {

// One icon image as tray hosts read it over D-Bus: width, height and
// ARGB32 pixels in network byte order (alpha first), rows packed.
struct KTIconPixmap {
    int width = 0;
    int height = 0;
    std::vector<uint8_t> argb;

    // From RGB or RGBA rows (GdkPixbuf's layout, `stride` bytes a row,
    // alpha not premultiplied). Empty when the sizes do not add up.
    static KTIconPixmap fromRgba(const uint8_t* pixels, int width, int height, int stride, bool hasAlpha);
};

} // namespace quilt
