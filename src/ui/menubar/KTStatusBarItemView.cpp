#include "ui/menubar/KTStatusBarItemView.h"

#include "core/config/KTLog.h"

#include <gdk/gdk.h>
#include <unistd.h>

#include <cmath>

namespace quilt {

namespace {
constexpr const char* kWatcher = "org.kde.StatusNotifierWatcher";
constexpr const char* kWatcherPath = "/StatusNotifierWatcher";
// Tray icons are drawn at 16 to 48 pixels; hosts pick the nearest.
constexpr int kIconSizes[] = {24, 48};

const char kInterface[] = R"xml(<node>
  <interface name="org.kde.StatusNotifierItem">
    <method name="ContextMenu"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
    <method name="Activate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
    <method name="SecondaryActivate"><arg type="i" direction="in"/><arg type="i" direction="in"/></method>
    <method name="Scroll"><arg type="i" direction="in"/><arg type="s" direction="in"/></method>
    <signal name="NewTitle"/>
    <signal name="NewIcon"/>
    <signal name="NewAttentionIcon"/>
    <signal name="NewOverlayIcon"/>
    <signal name="NewToolTip"/>
    <signal name="NewStatus"><arg type="s"/></signal>
    <property name="Category" type="s" access="read"/>
    <property name="Id" type="s" access="read"/>
    <property name="Title" type="s" access="read"/>
    <property name="Status" type="s" access="read"/>
    <property name="WindowId" type="i" access="read"/>
    <property name="IconName" type="s" access="read"/>
    <property name="IconPixmap" type="a(iiay)" access="read"/>
    <property name="IconThemePath" type="s" access="read"/>
    <property name="OverlayIconName" type="s" access="read"/>
    <property name="OverlayIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionIconName" type="s" access="read"/>
    <property name="AttentionIconPixmap" type="a(iiay)" access="read"/>
    <property name="AttentionMovieName" type="s" access="read"/>
    <property name="ToolTip" type="(sa(iiay)ss)" access="read"/>
    <property name="ItemIsMenu" type="b" access="read"/>
    <property name="Menu" type="o" access="read"/>
  </interface>
</node>)xml";

GVariant* emptyPixmaps() { return g_variant_new_array(G_VARIANT_TYPE("(iiay)"), nullptr, 0); }

// The icon at `size` pixels with the badge, if any, in its upper right
// corner: a red dot and white text, as the tray item always showed it.
GdkPixbuf* drawIcon(GdkPixbuf* image, int size, const std::string& badge)
{
    cairo_surface_t* surface = cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size, size);
    cairo_t* cr = cairo_create(surface);
    if (image) {
        GdkPixbuf* scaled = gdk_pixbuf_scale_simple(image, size, size, GDK_INTERP_BILINEAR);
        gdk_cairo_set_source_pixbuf(cr, scaled, 0, 0);
        cairo_paint(cr);
        g_object_unref(scaled);
    }
    if (!badge.empty()) {
        double d = std::round(size * 15.0 / 22.0);
        double cx = size - d / 2, cy = d / 2;
        cairo_arc(cr, cx, cy, d / 2, 0, 2 * G_PI);
        cairo_set_source_rgb(cr, 0.86, 0.1, 0.1);
        cairo_fill(cr);
        cairo_set_source_rgb(cr, 1, 1, 1);
        cairo_select_font_face(cr, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_BOLD);
        cairo_set_font_size(cr, d * (badge.size() > 2 ? 0.45 : 0.62));
        cairo_text_extents_t ext;
        cairo_text_extents(cr, badge.c_str(), &ext);
        cairo_move_to(cr, cx - ext.width / 2 - ext.x_bearing, cy - ext.height / 2 - ext.y_bearing);
        cairo_show_text(cr, badge.c_str());
    }
    cairo_destroy(cr);
    cairo_surface_flush(surface);
    GdkPixbuf* out = gdk_pixbuf_get_from_surface(surface, 0, 0, size, size);
    cairo_surface_destroy(surface);
    return out;
}
} // namespace

bool KTStatusBarItemView::hostAvailable(std::string* why)
{
    auto say = [why](const std::string& text) {
        if (why)
            *why = text;
        return false;
    };
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!bus) {
        std::string text = std::string("no session bus: ") + (error ? error->message : "unknown error");
        g_clear_error(&error);
        return say(text);
    }
    GRef<GDBusConnection> connection = GRef<GDBusConnection>::adopt(bus);
    GVariant* owned = g_dbus_connection_call_sync(bus, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                                  "org.freedesktop.DBus", "NameHasOwner",
                                                  g_variant_new("(s)", kWatcher), G_VARIANT_TYPE("(b)"),
                                                  G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
    gboolean has = FALSE;
    if (owned) {
        g_variant_get(owned, "(b)", &has);
        g_variant_unref(owned);
    }
    if (!has)
        return say("no status notifier watcher is running");
    GVariant* reply = g_dbus_connection_call_sync(bus, kWatcher, kWatcherPath, "org.freedesktop.DBus.Properties",
                                                  "Get", g_variant_new("(ss)", kWatcher, "IsStatusNotifierHostRegistered"),
                                                  G_VARIANT_TYPE("(v)"), G_DBUS_CALL_FLAGS_NONE, 2000, nullptr, nullptr);
    gboolean host = FALSE;
    if (reply) {
        GVariant* value = nullptr;
        g_variant_get(reply, "(v)", &value);
        if (g_variant_is_of_type(value, G_VARIANT_TYPE_BOOLEAN))
            host = g_variant_get_boolean(value);
        g_variant_unref(value);
        g_variant_unref(reply);
    }
    if (!host)
        return say("the status notifier watcher has no tray host");
    return true;
}

KTStatusBarItemView::KTStatusBarItemView(const std::string& id, const std::string& title,
                                         std::vector<KTMenuItem> menuItems, GActionGroup* actions)
    : id_(id)
    , title_(title)
{
    static int serial = 0;
    busName_ = "org.kde.StatusNotifierItem-" + std::to_string(getpid()) + "-" + std::to_string(++serial);
    GError* error = nullptr;
    connection_ = GRef<GDBusConnection>::adopt(g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error));
    if (!connection_) {
        KTLog::line(std::string("error: ") + (error ? error->message : "no session bus"));
        g_clear_error(&error);
        return;
    }
    menu_ = std::make_unique<KTDBusMenu>(connection_.get(), kMenuPath, std::move(menuItems), actions);
    static const GDBusInterfaceVTable vtable {onMethod, onProperty, nullptr, {}};
    if (!object_.exportAt(connection_.get(), kItemPath, kInterface, vtable, this, &error)) {
        KTLog::line(std::string("error: ") + (error ? error->message : "cannot export the tray item"));
        g_clear_error(&error);
        return;
    }
    nameOwner_ = g_bus_own_name_on_connection(connection_.get(), busName_.c_str(), G_BUS_NAME_OWNER_FLAGS_NONE,
                                              nullptr, nullptr, nullptr, nullptr);
    // A watcher that starts (or restarts with the panel) learns of the item.
    watcherWatch_ = g_bus_watch_name_on_connection(
        connection_.get(), kWatcher, G_BUS_NAME_WATCHER_FLAGS_NONE,
        +[](GDBusConnection*, const char*, const char*, gpointer self) {
            static_cast<KTStatusBarItemView*>(self)->registerWithWatcher();
        },
        nullptr, this, nullptr);
}

KTStatusBarItemView::~KTStatusBarItemView()
{
    if (watcherWatch_)
        g_bus_unwatch_name(watcherWatch_);
    if (nameOwner_)
        g_bus_unown_name(nameOwner_);
    menu_.reset();
}

void KTStatusBarItemView::registerWithWatcher()
{
    g_dbus_connection_call(connection_.get(), kWatcher, kWatcherPath, kWatcher, "RegisterStatusNotifierItem",
                           g_variant_new("(s)", busName_.c_str()), nullptr, G_DBUS_CALL_FLAGS_NONE, 5000, nullptr,
                           +[](GObject* source, GAsyncResult* result, gpointer) {
                               GError* error = nullptr;
                               GVariant* reply = g_dbus_connection_call_finish(G_DBUS_CONNECTION(source), result, &error);
                               if (reply)
                                   g_variant_unref(reply);
                               if (error) {
                                   KTLog::line(std::string("error: tray registration: ") + error->message);
                                   g_error_free(error);
                               }
                           },
                           nullptr);
}

void KTStatusBarItemView::setImage(GdkPixbuf* image, const std::string& iconName)
{
    image_ = GRef<GdkPixbuf>::retain(image);
    iconName_ = iconName;
    renderIcon();
}

void KTStatusBarItemView::setBadge(const std::string& text)
{
    if (text == badge_)
        return;
    badge_ = text;
    renderIcon();
}

void KTStatusBarItemView::renderIcon()
{
    icons_.clear();
    for (int size : kIconSizes) {
        GdkPixbuf* drawn = drawIcon(image_.get(), size, badge_);
        if (!drawn)
            continue;
        icons_.push_back(KTIconPixmap::fromRgba(gdk_pixbuf_get_pixels(drawn), gdk_pixbuf_get_width(drawn),
                                                gdk_pixbuf_get_height(drawn), gdk_pixbuf_get_rowstride(drawn),
                                                gdk_pixbuf_get_has_alpha(drawn)));
        g_object_unref(drawn);
    }
    if (object_)
        g_dbus_connection_emit_signal(connection_.get(), nullptr, kItemPath, "org.kde.StatusNotifierItem", "NewIcon",
                                      nullptr, nullptr);
}

GVariant* KTStatusBarItemView::pixmaps() const
{
    // Without an image, the theme name alone: an empty picture would hide
    // the item on hosts that prefer pixels.
    if (!image_)
        return emptyPixmaps();
    GVariantBuilder b;
    g_variant_builder_init(&b, G_VARIANT_TYPE("a(iiay)"));
    for (const auto& icon : icons_) {
        GVariant* bytes = g_variant_new_fixed_array(G_VARIANT_TYPE_BYTE, icon.argb.data(), icon.argb.size(), 1);
        g_variant_builder_add(&b, "(ii@ay)", icon.width, icon.height, bytes);
    }
    return g_variant_builder_end(&b);
}

void KTStatusBarItemView::onMethod(GDBusConnection*, const char*, const char*, const char*, const char* method,
                                   GVariant* params, GDBusMethodInvocation* invocation, gpointer data)
{
    auto* self = static_cast<KTStatusBarItemView*>(data);
    std::string name = method;
    int x = 0, y = 0;
    if (name == "Activate" || name == "ContextMenu" || name == "SecondaryActivate")
        g_variant_get(params, "(ii)", &x, &y);
    g_dbus_method_invocation_return_value(invocation, nullptr);
    if (name == "Activate" && self->action)
        self->action(x, y);
    else if ((name == "ContextMenu" || name == "SecondaryActivate") && self->rightAction)
        self->rightAction(x, y);
}

GVariant* KTStatusBarItemView::onProperty(GDBusConnection*, const char*, const char*, const char*, const char* name,
                                          GError**, gpointer data)
{
    auto* self = static_cast<KTStatusBarItemView*>(data);
    std::string p = name;
    if (p == "Category")
        return g_variant_new_string("ApplicationStatus");
    if (p == "Id")
        return g_variant_new_string(self->id_.c_str());
    if (p == "Title")
        return g_variant_new_string(self->title_.c_str());
    if (p == "Status")
        return g_variant_new_string("Active");
    if (p == "WindowId")
        return g_variant_new_int32(0);
    if (p == "IconName")
        return g_variant_new_string(self->iconName_.c_str());
    if (p == "IconPixmap")
        return self->pixmaps();
    if (p == "OverlayIconPixmap" || p == "AttentionIconPixmap")
        return emptyPixmaps();
    if (p == "ToolTip")
        return g_variant_new("(s@a(iiay)ss)", "", emptyPixmaps(), self->title_.c_str(), "");
    if (p == "ItemIsMenu")
        return g_variant_new_boolean(FALSE);
    if (p == "Menu")
        return g_variant_new_object_path(kMenuPath);
    return g_variant_new_string("");
}

} // namespace quilt
