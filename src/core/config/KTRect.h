#pragma once

#include <string>
#include <string_view>

namespace quilt {

// A window frame and its string form "{{x, y}, {w, h}}", the form restore
// files have always used.
struct KTRect {
    double x = 0, y = 0, width = 0, height = 0;

    std::string toString() const;
    // Reads the numbers in order, leniently: missing ones are 0, as the
    // earlier versions read it, so a damaged frame gives an empty rectangle.
    static KTRect fromString(std::string_view text);
    bool isEmpty() const { return width <= 0 || height <= 0; }
    bool operator==(const KTRect&) const = default;
};

struct KTSize {
    double width = 0, height = 0;
    bool operator==(const KTSize&) const = default;
};

} // namespace quilt
