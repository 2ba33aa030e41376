#include "ui/menubar/KTAppIcon.h"

#include "core/config/KTNotificationNames.h"
#include "core/config/KTShared.h"
#include "core/menubar/KTDockBadge.h"

#include <gtk/gtk.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>

namespace quilt {

namespace {

PangoLayout* badgeLayout(cairo_t* cr, const std::string& text, double scale)
{
    PangoLayout* layout = pango_cairo_create_layout(cr);
    PangoFontDescription* font = pango_font_description_from_string("Sans Bold");
    pango_font_description_set_absolute_size(font, 24 * scale * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    pango_font_description_free(font);
    pango_layout_set_text(layout, text.c_str(), -1);
    return layout;
}

void roundedRectangle(cairo_t* cr, double x, double y, double w, double h, double r)
{
    r = std::min({r, w / 2, h / 2});
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -G_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, G_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, G_PI / 2, G_PI);
    cairo_arc(cr, x + r, y + r, r, G_PI, 3 * G_PI / 2);
    cairo_close_path(cr);
}

GdkPixbuf* blankIcon()
{
    GdkPixbuf* blank = gdk_pixbuf_new(GDK_COLORSPACE_RGB, TRUE, 8, KTAppIcon::kSize, KTAppIcon::kSize);
    gdk_pixbuf_fill(blank, 0);
    return blank;
}

} // namespace

KTAppIcon& KTAppIcon::shared() { return KTShared<KTAppIcon>::get(); }

std::unique_ptr<KTAppIcon> KTAppIcon::create() { return std::unique_ptr<KTAppIcon>(new KTAppIcon()); }

KTAppIcon::KTAppIcon() : badge_(KTDockBadge::shared().text())
{
    observation_ = KTObservation(names::kDockBadgeChanged, [this](const KTNotification& note) {
        badge_ = note.userInfo.value("text", std::string());
        update();
    });
}

void KTAppIcon::setBaseIcon(GdkPixbuf* icon)
{
    base_ = GRef<GdkPixbuf>::retain(icon);
    update();
}

void KTAppIcon::setPicture(GdkPixbuf* picture)
{
    picture_ = GRef<GdkPixbuf>::retain(picture);
    update();
}

void KTAppIcon::update()
{
    GRef<GdkPixbuf> under = picture_ ? picture_ : base_;
    if (!under)
        under = GRef<GdkPixbuf>::adopt(blankIcon());
    current_ = GRef<GdkPixbuf>::adopt(drawBadge(under.get(), badge_));
    // Every window that shows the default icon takes the new one.
    gtk_window_set_default_icon(current_.get());
}

int KTAppIcon::badgeWidth(const std::string& text)
{
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, 1, 1);
    cairo_t* cr = cairo_create(surface);
    PangoLayout* layout = badgeLayout(cr, text, 1.0);
    PangoRectangle ink, logical;
    pango_layout_get_pixel_extents(layout, &ink, &logical);
    g_object_unref(layout);
    cairo_destroy(cr);
    cairo_surface_destroy(surface);
    return std::max(48, logical.width + 12);
}

GdkPixbuf* KTAppIcon::drawBadge(GdkPixbuf* icon, const std::string& text)
{
    const int w = gdk_pixbuf_get_width(icon), h = gdk_pixbuf_get_height(icon);
    if (text.empty() || text == "0")
        return gdk_pixbuf_copy(icon);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    cairo_t* cr = cairo_create(surface);
    gdk_cairo_set_source_pixbuf(cr, icon, 0, 0);
    cairo_paint(cr);

    const double scale = w / double(kSize);
    const double bh = 48 * scale;
    const double bw = std::min(badgeWidth(text) * scale, w - 4 * scale);
    const double x = w - 2 * scale - bw, y = 2 * scale;
    // A soft dark edge in place of a shadow of radius 2, so that the red
    // reads on a red icon too.
    for (double spread : {2.0, 1.0}) {
        roundedRectangle(cr, x - spread * scale, y - spread * scale, bw + 2 * spread * scale, bh + 2 * spread * scale,
                         (24 + spread) * scale);
        cairo_set_source_rgba(cr, 0, 0, 0, 0.4);
        cairo_fill(cr);
    }
    roundedRectangle(cr, x, y, bw, bh, 24 * scale);
    cairo_set_source_rgb(cr, 1, 0, 0);
    cairo_fill_preserve(cr);
    cairo_clip(cr);

    PangoLayout* layout = badgeLayout(cr, text, scale);
    PangoRectangle ink, logical;
    pango_layout_get_pixel_extents(layout, &ink, &logical);
    cairo_set_source_rgb(cr, 1, 1, 1);
    cairo_move_to(cr, x + (bw - logical.width) / 2.0, y + (bh - logical.height) / 2.0);
    pango_cairo_show_layout(cr, layout);
    g_object_unref(layout);

    cairo_destroy(cr);
    GdkPixbuf* out = gdk_pixbuf_get_from_surface(surface, 0, 0, w, h);
    cairo_surface_destroy(surface);
    return out;
}

GdkPixbuf* KTAppIcon::roundCornersWithRadius(GdkPixbuf* image, double radius)
{
    const int w = gdk_pixbuf_get_width(image), h = gdk_pixbuf_get_height(image);
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, w, h);
    cairo_t* cr = cairo_create(surface);
    roundedRectangle(cr, 0, 0, w, h, radius);
    cairo_clip(cr);
    gdk_cairo_set_source_pixbuf(cr, image, 0, 0);
    cairo_paint(cr);
    cairo_destroy(cr);
    GdkPixbuf* out = gdk_pixbuf_get_from_surface(surface, 0, 0, w, h);
    cairo_surface_destroy(surface);
    return out;
}

} // namespace quilt
