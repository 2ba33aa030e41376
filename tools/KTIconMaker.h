#pragma once

#include "core/config/GRef.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// The app's icon: a picture the user gives, or a generated one, made square
// and written as "AppIcon.icns" with PNG elements.
class KTIconMaker {
public:
    static constexpr int kSize = 512;
    // ic07, ic08 and ic09: the window icon and every launcher size in between.
    static const std::vector<int>& icnsSizes();

    struct Rgb {
        double red, green, blue;
    };

    // Any image gdk-pixbuf reads (SVG too), turned upright and centred on a
    // transparent kSize square; nullptr and *error when it cannot be read.
    static GRef<GdkPixbuf> loadImage(const std::string& path, std::string* error);

    // A rounded square in a colour picked from colorSeed (the site's domain,
    // so one site always gets the same colour) with the initial in white.
    static GRef<GdkPixbuf> generate(const std::string& initial, const std::string& colorSeed, int size = kSize);
    static Rgb colorForSeed(const std::string& seed);
    // The first letter or digit of a text, upper-cased ("?" when none).
    static std::string initialOf(std::string_view text);

    // Writes the ICNS file; false and *error on failure.
    static bool writeIcns(const std::string& path, GdkPixbuf* image, std::string* error);
    // The PNG bytes of the largest PNG element of an ICNS file.
    static std::optional<std::string> largestPng(std::string_view icns);
};

} // namespace quilt
