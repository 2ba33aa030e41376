#pragma once

#include "core/config/KTError.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// ICNS icon files: an "icns" header with the total length, then elements of
// a four-letter type, a length (header included) and a PNG payload.
class KTIcns {
public:
    struct Element {
        std::string type; // "ic07" = 128 px PNG, "ic08" = 256, "ic09" = 512, ...
        std::string data;
    };

    // Pictures declaring a larger side are not decoded (an icon never needs
    // one; decoded, 20000x20000 pixels take 1.6 GB).
    static constexpr uint32_t kMaxSide = 4096;

    static std::string encode(const std::vector<Element>& elements);
    // nullopt for anything that is not a well-formed ICNS file.
    static std::optional<std::vector<Element>> decode(std::string_view bytes);
    // Element type for a square PNG of that many pixels; empty when none.
    static std::string typeForSize(int pixels);

    // Writes the image scaled to each size as PNG elements, atomically.
    static bool writeFile(const std::string& path, GdkPixbuf* image, const std::vector<int>& sizes,
                          std::string* error = nullptr);
    // The largest PNG element decoded, or nullptr (caller unrefs).
    static GdkPixbuf* readLargest(const std::string& path);
    static GdkPixbuf* readLargest(std::string_view bytes);
    // The element closest to a size (the smallest at least that large),
    // decoding only that one; nullptr when none decodes.
    static GdkPixbuf* readNearest(const std::string& path, int pixels);
    static GdkPixbuf* readNearest(std::string_view bytes, int pixels);
};

} // namespace quilt
