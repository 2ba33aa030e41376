#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

enum class KTColorSpace { DeviceRGB, CalibratedRGB, Gray, System };

// A colour as stored in the settings: components in a colour space. The
// System space stands for the desktop's window background colour, resolved by
// the windows from the theme; its components are a light fallback.
struct KTColor {
    KTColorSpace space = KTColorSpace::DeviceRGB;
    std::vector<double> components;

    static KTColor rgb(double r, double g, double b, double a = 1.0,
                       KTColorSpace space = KTColorSpace::DeviceRGB);
    static KTColor windowBackgroundColor();
    bool isSystem() const { return space == KTColorSpace::System; }

    double red() const { return component(0); }
    double green() const { return component(1); }
    double blue() const { return component(2); }
    double alpha() const;

    // "%f " per component, trailing blank removed: "1.000000 0.500000 0.000000 1.000000".
    std::string stringRepresentation() const;
    // Pieces split on single blanks; more than ten pieces give nullopt.
    static std::optional<KTColor> colorFromStringForColorSpace(std::string_view text, KTColorSpace space);
    // Luma (299 R + 587 G + 114 B) / 1000 for RGB, the white component otherwise; light at 0.5.
    bool colorIsLight() const;
    // "#rrggbb" or "rgba(...)" for CSS and GDK.
    std::string cssString() const;

    // Fixed interface colours, light and dark variants.
    static KTColor mainColor();
    static KTColor accentColor();
    static KTColor accentColorDark();
    static KTColor mainBackgroundColor();
    static KTColor mainBackgroundColorDark();
    static KTColor progressBackgroundColor();

    bool operator==(const KTColor&) const = default;

private:
    double component(size_t i) const { return i < components.size() ? components[i] : 0.0; }
};

} // namespace quilt
