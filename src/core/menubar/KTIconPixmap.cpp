#include "core/menubar/KTIconPixmap.h"

#include <cstddef>

namespace quilt {

KTIconPixmap KTIconPixmap::fromRgba(const uint8_t* pixels, int width, int height, int stride, bool hasAlpha)
{
    KTIconPixmap out;
    const int channels = hasAlpha ? 4 : 3;
    if (!pixels || width <= 0 || height <= 0 || stride < width * channels)
        return out;
    out.width = width;
    out.height = height;
    out.argb.resize(static_cast<std::size_t>(width) * height * 4);
    uint8_t* to = out.argb.data();
    for (int y = 0; y < height; ++y) {
        const uint8_t* from = pixels + static_cast<std::size_t>(y) * stride;
        for (int x = 0; x < width; ++x, from += channels) {
            *to++ = hasAlpha ? from[3] : 0xff;
            *to++ = from[0];
            *to++ = from[1];
            *to++ = from[2];
        }
    }
    return out;
}

} // namespace quilt
