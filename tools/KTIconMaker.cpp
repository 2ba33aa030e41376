#include "KTIconMaker.h"

#include "core/config/KTIcns.h"

#include <cairo.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sys/stat.h>

namespace quilt {

namespace {

// Deep enough for white text to stand out, light enough to look friendly.
constexpr KTIconMaker::Rgb kPalette[] = {
    {0.110, 0.443, 0.847}, // blue
    {0.149, 0.635, 0.412}, // green
    {0.878, 0.106, 0.141}, // red
    {0.776, 0.275, 0.000}, // orange
    {0.506, 0.239, 0.612}, // purple
    {0.000, 0.525, 0.553}, // teal
    {0.863, 0.208, 0.478}, // pink
    {0.388, 0.271, 0.196}, // brown
    {0.239, 0.314, 0.678}, // indigo
    {0.180, 0.494, 0.196}, // dark green
    {0.612, 0.153, 0.690}, // violet
    {0.278, 0.353, 0.420}, // slate
};

// FNV-1a: stable across runs and builds, unlike std::hash.
uint32_t stableHash(const std::string& text)
{
    uint32_t h = 2166136261u;
    for (unsigned char c : text) {
        h ^= c;
        h *= 16777619u;
    }
    return h;
}

void roundedSquare(cairo_t* cr, double x, double y, double side, double radius)
{
    const double r = std::min(radius, side / 2);
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + side - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + side - r, y + side - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + side - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 3 * M_PI / 2);
    cairo_close_path(cr);
}

double shade(double v, double f) { return std::clamp(v * f, 0.0, 1.0); }

// Cairo keeps premultiplied native-endian ARGB; gdk-pixbuf wants straight RGBA bytes.
GRef<GdkPixbuf> pixbufFromSurface(cairo_surface_t* surface)
{
    cairo_surface_flush(surface);
    const int w = cairo_image_surface_get_width(surface);
    const int h = cairo_image_surface_get_height(surface);
    const int srcStride = cairo_image_surface_get_stride(surface);
    const unsigned char* src = cairo_image_surface_get_data(surface);
    auto pix = GRef<GdkPixbuf>::adopt(gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, w, h));
    if (!pix || !src)
        return {};
    const int dstStride = gdk_pixbuf_get_rowstride(pix.get());
    guchar* dst = gdk_pixbuf_get_pixels(pix.get());
    for (int y = 0; y < h; ++y) {
        const auto* row = reinterpret_cast<const uint32_t*>(src + y * srcStride);
        guchar* out = dst + y * dstStride;
        for (int x = 0; x < w; ++x) {
            const uint32_t p = row[x];
            const unsigned a = p >> 24;
            auto un = [a](unsigned c) { return a ? static_cast<guchar>((c * 255 + a / 2) / a) : guchar(0); };
            out[4 * x + 0] = un((p >> 16) & 0xff);
            out[4 * x + 1] = un((p >> 8) & 0xff);
            out[4 * x + 2] = un(p & 0xff);
            out[4 * x + 3] = static_cast<guchar>(a);
        }
    }
    return pix;
}

void drawInitial(cairo_t* cr, const std::string& initial, int size)
{
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* font = pango_font_description_from_string("DejaVu Sans Bold");
    pango_font_description_set_absolute_size(font, size * 0.50 * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    pango_layout_set_text(layout, initial.c_str(), -1);

    // Centre the glyph's ink, not its line box, so letters with and without
    // descenders sit in the middle alike.
    PangoRectangle ink;
    pango_layout_get_pixel_extents(layout, &ink, nullptr);
    const double x = (size - ink.width) / 2.0 - ink.x;
    const double y = (size - ink.height) / 2.0 - ink.y;

    cairo_save(cr);
    cairo_move_to(cr, x, y + size * 0.012);
    cairo_set_source_rgba(cr, 0, 0, 0, 0.18);
    pango_cairo_show_layout(cr, layout);
    cairo_restore(cr);

    cairo_move_to(cr, x, y);
    cairo_set_source_rgb(cr, 1, 1, 1);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);
}

} // namespace

const std::vector<int>& KTIconMaker::icnsSizes()
{
    static const std::vector<int> sizes = {128, 256, 512};
    return sizes;
}

std::string KTIconMaker::initialOf(std::string_view text)
{
    const char* p = text.data();
    const char* end = text.data() + text.size();
    while (p < end) {
        gunichar c = g_utf8_get_char_validated(p, end - p);
        if (c == static_cast<gunichar>(-1) || c == static_cast<gunichar>(-2))
            break;
        if (g_unichar_isalnum(c)) {
            char buf[8] = {};
            g_unichar_to_utf8(g_unichar_totitle(c), buf);
            return buf;
        }
        p = g_utf8_next_char(p);
    }
    return "?";
}

KTIconMaker::Rgb KTIconMaker::colorForSeed(const std::string& seed)
{
    return kPalette[stableHash(seed) % std::size(kPalette)];
}

GRef<GdkPixbuf> KTIconMaker::generate(const std::string& initial, const std::string& colorSeed, int size)
{
    std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size), cairo_surface_destroy);
    std::unique_ptr<cairo_t, decltype(&cairo_destroy)> holder(cairo_create(surface.get()), cairo_destroy);
    cairo_t* cr = holder.get();

    // The square leaves a margin like other launcher icons, so it does not
    // look larger than its neighbours.
    const double margin = size * 0.0625;
    const double side = size - 2 * margin;
    const double radius = side * 0.22;
    const Rgb c = colorForSeed(colorSeed);

    // A soft shadow under the square.
    for (int i = 4; i >= 1; --i) {
        roundedSquare(cr, margin - i * 0.5, margin + i * 1.5, side + i, radius + i);
        cairo_set_source_rgba(cr, 0, 0, 0, 0.035);
        cairo_fill(cr);
    }

    roundedSquare(cr, margin, margin, side, radius);
    cairo_pattern_t* gradient = cairo_pattern_create_linear(0, margin, 0, margin + side);
    cairo_pattern_add_color_stop_rgb(gradient, 0, shade(c.red, 1.12), shade(c.green, 1.12), shade(c.blue, 1.12));
    cairo_pattern_add_color_stop_rgb(gradient, 1, shade(c.red, 0.88), shade(c.green, 0.88), shade(c.blue, 0.88));
    cairo_set_source(cr, gradient);
    cairo_fill(cr);
    cairo_pattern_destroy(gradient);

    drawInitial(cr, initial.empty() ? std::string("?") : initial, size);
    return pixbufFromSurface(surface.get());
}

GRef<GdkPixbuf> KTIconMaker::loadImage(const std::string& path, std::string* error)
{
    // A FIFO or a device would block the tool or never end; a bitmap's
    // declared size is checked before it is decoded at full size.
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
        if (error)
            *error = "cannot read the icon " + path + ": not a regular file";
        return {};
    }
    int declaredW = 0, declaredH = 0;
    GdkPixbufFormat* format = gdk_pixbuf_get_file_info(path.c_str(), &declaredW, &declaredH);
    if (format && !gdk_pixbuf_format_is_scalable(format)
        && (declaredW <= 0 || declaredH <= 0 || static_cast<uint32_t>(declaredW) > KTIcns::kMaxSide
            || static_cast<uint32_t>(declaredH) > KTIcns::kMaxSide)) {
        if (error)
            *error = "cannot read the icon " + path + ": " + std::to_string(declaredW) + "x"
                + std::to_string(declaredH) + " pixels, larger than " + std::to_string(KTIcns::kMaxSide) + "x"
                + std::to_string(KTIcns::kMaxSide);
        return {};
    }
    GError* gerr = nullptr;
    // Vector images are rendered at the icon's size; bitmaps are scaled to fit it.
    auto loaded = GRef<GdkPixbuf>::adopt(gdk_pixbuf_new_from_file_at_scale(path.c_str(), kSize, kSize, TRUE, &gerr));
    if (!loaded) {
        if (error)
            *error = "cannot read the icon " + path + ": " + (gerr ? gerr->message : "unknown image format");
        g_clear_error(&gerr);
        return {};
    }
    auto upright = GRef<GdkPixbuf>::adopt(gdk_pixbuf_apply_embedded_orientation(loaded.get()));
    GdkPixbuf* image = upright ? upright.get() : loaded.get();

    const int w = gdk_pixbuf_get_width(image);
    const int h = gdk_pixbuf_get_height(image);
    const double scale = std::min(static_cast<double>(kSize) / w, static_cast<double>(kSize) / h);
    const int sw = std::max(1, static_cast<int>(std::lround(w * scale)));
    const int sh = std::max(1, static_cast<int>(std::lround(h * scale)));
    auto square = GRef<GdkPixbuf>::adopt(gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, kSize, kSize));
    if (!square) {
        if (error)
            *error = "out of memory for the icon";
        return {};
    }
    gdk_pixbuf_fill(square.get(), 0x00000000);
    const int ox = (kSize - sw) / 2;
    const int oy = (kSize - sh) / 2;
    gdk_pixbuf_composite(image, square.get(), ox, oy, sw, sh, ox, oy, scale, scale, GDK_INTERP_HYPER, 255);
    return square;
}

bool KTIconMaker::writeIcns(const std::string& path, GdkPixbuf* image, std::string* error)
{
    return KTIcns::writeFile(path, image, icnsSizes(), error);
}

std::optional<std::string> KTIconMaker::largestPng(std::string_view icns)
{
    auto elements = KTIcns::decode(icns);
    if (!elements)
        return std::nullopt;
    std::optional<std::string> best;
    int bestSize = 0;
    for (const auto& e : *elements) {
        for (int s : icnsSizes())
            if (e.type == KTIcns::typeForSize(s) && s > bestSize && e.data.rfind("\x89PNG", 0) == 0) {
                best = e.data;
                bestSize = s;
            }
    }
    return best;
}

} // namespace quilt
