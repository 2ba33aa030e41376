#include "core/config/KTColor.h"

#include "core/config/KTNumber.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace quilt {

KTColor KTColor::rgb(double r, double g, double b, double a, KTColorSpace space)
{
    return KTColor{space, {r, g, b, a}};
}

KTColor KTColor::windowBackgroundColor()
{
    // Adwaita's light window background; the windows use the theme's own.
    return KTColor{KTColorSpace::System, {246 / 255.0, 245 / 255.0, 244 / 255.0, 1.0}};
}

double KTColor::alpha() const
{
    if (space == KTColorSpace::Gray)
        return components.size() > 1 ? components[1] : 1.0;
    return components.size() > 3 ? components[3] : 1.0;
}

std::string KTColor::stringRepresentation() const
{
    // Six decimals, as printf's "%f" wrote them, but always with a dot.
    std::string out;
    for (double c : components)
        out += KTNumber::format(c, 6) + " ";
    if (!out.empty())
        out.pop_back();
    return out;
}

std::optional<KTColor> KTColor::colorFromStringForColorSpace(std::string_view text, KTColorSpace space)
{
    std::vector<double> parts;
    size_t start = 0;
    for (;;) {
        size_t end = text.find(' ', start);
        std::string piece(text.substr(start, end == std::string_view::npos ? std::string_view::npos : end - start));
        parts.push_back(KTNumber::parse(piece).value_or(0.0));
        if (parts.size() > 10)
            return std::nullopt;
        if (end == std::string_view::npos)
            break;
        start = end + 1;
    }
    return KTColor{space, std::move(parts)};
}

bool KTColor::colorIsLight() const
{
    double value;
    if (space == KTColorSpace::Gray)
        value = component(0);
    else
        value = (red() * 299 + green() * 587 + blue() * 114) / 1000;
    return value >= 0.5;
}

std::string KTColor::cssString() const
{
    auto byte = [](double v) { return static_cast<int>(std::lround(std::clamp(v, 0.0, 1.0) * 255)); };
    double r = red(), g = green(), b = blue();
    if (space == KTColorSpace::Gray)
        r = g = b = component(0);
    return "rgba(" + std::to_string(byte(r)) + "," + std::to_string(byte(g)) + "," + std::to_string(byte(b)) + ","
        + KTNumber::format(std::clamp(alpha(), 0.0, 1.0), 3) + ")";
}

KTColor KTColor::mainColor() { return rgb(0.20, 0.52, 0.89); }
KTColor KTColor::accentColor() { return rgb(0.21, 0.52, 0.89); }
KTColor KTColor::accentColorDark() { return rgb(0.38, 0.63, 0.92); }
KTColor KTColor::mainBackgroundColor() { return rgb(0.98, 0.98, 0.98); }
KTColor KTColor::mainBackgroundColorDark() { return rgb(0.16, 0.16, 0.17); }
KTColor KTColor::progressBackgroundColor() { return rgb(0.21, 0.52, 0.89, 0.9); }

} // namespace quilt
