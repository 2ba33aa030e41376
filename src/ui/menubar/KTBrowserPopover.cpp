#include "ui/menubar/KTBrowserPopover.h"

#include "core/menubar/KTPopoverPlacement.h"

namespace quilt {

namespace {
// The work area of the monitor under the point, else of the first.
KTRect workAreaAt(int x, int y)
{
    GdkDisplay* display = gdk_display_get_default();
    GdkMonitor* monitor = display ? gdk_display_get_monitor_at_point(display, x, y) : nullptr;
    if (!monitor)
        return KTRect {0, 0, 1024, 768};
    GdkRectangle area;
    gdk_monitor_get_workarea(monitor, &area);
    return KTRect {double(area.x), double(area.y), double(area.width), double(area.height)};
}
} // namespace

KTBrowserPopover::KTBrowserPopover(GtkApplication* app)
    : window_(gtk_window_new(GTK_WINDOW_TOPLEVEL))
    , overlay_(gtk_overlay_new())
{
    GtkWindow* w = GTK_WINDOW(window_);
    // In the application, so that its keys (new tab, quit, ...) work here.
    if (app)
        gtk_window_set_application(w, app);
    gtk_window_set_title(w, g_get_application_name() ? g_get_application_name() : "");
    gtk_window_set_decorated(w, FALSE);
    gtk_window_set_skip_taskbar_hint(w, TRUE);
    gtk_window_set_skip_pager_hint(w, TRUE);
    gtk_window_set_keep_above(w, TRUE);
    gtk_window_set_type_hint(w, GDK_WINDOW_TYPE_HINT_UTILITY);
    gtk_window_set_role(w, "popover");
    GtkWidget* frame = gtk_frame_new(nullptr);
    gtk_frame_set_shadow_type(GTK_FRAME(frame), GTK_SHADOW_OUT);
    gtk_container_add(GTK_CONTAINER(frame), overlay_);
    gtk_container_add(GTK_CONTAINER(window_), frame);
    gtk_overlay_add_overlay(GTK_OVERLAY(overlay_), handle_.widget());
    gtk_widget_show_all(frame);
    // Closing the window only hides it.
    signals_.emplace_back(window_, "delete-event", G_CALLBACK(gtk_widget_hide_on_delete), nullptr);
    signals_.emplace_back(window_, "key-press-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEventKey* e, KTBrowserPopover* self) -> gboolean {
                              if (e->keyval != GDK_KEY_Escape
                                  || (e->state & gtk_accelerator_get_default_mod_mask()) != 0)
                                  return FALSE;
                              self->close();
                              return TRUE;
                          }),
                          this);
    signals_.emplace_back(window_, "focus-out-event",
                          G_CALLBACK(+[](GtkWidget*, GdkEvent*, KTBrowserPopover* self) -> gboolean {
                              self->focusLost();
                              return FALSE;
                          }),
                          this);
    handle_.dragBegan = [this] { dragStart_ = size_; };
    handle_.dragged = [this](double dx, double dy) {
        KTRect area = workAreaAt(anchorX_, anchorY_);
        size_ = KTPopoverPlacement::resized(dragStart_, dx, dy, area.width);
        place();
    };
    handle_.dragEnded = [this] {
        if (resized)
            resized(size_);
    };
}

KTBrowserPopover::~KTBrowserPopover()
{
    signals_.clear();
    // The hosted view belongs to its tab controller: handed back alive.
    setContent(nullptr);
    gtk_widget_destroy(window_);
}

void KTBrowserPopover::setContent(GtkWidget* content)
{
    if (content == content_)
        return;
    if (content_)
        gtk_container_remove(GTK_CONTAINER(overlay_), content_);
    content_ = content;
    contentGone_ = {};
    if (!content)
        return;
    g_object_ref(content);
    if (GtkWidget* parent = gtk_widget_get_parent(content))
        gtk_container_remove(GTK_CONTAINER(parent), content);
    gtk_container_add(GTK_CONTAINER(overlay_), content);
    g_object_unref(content);
    gtk_widget_show(content);
    contentGone_ = KTSignal(content, "destroy", G_CALLBACK(+[](GtkWidget*, KTBrowserPopover* self) {
                                self->content_ = nullptr;
                                self->close();
                            }),
                            this);
}

void KTBrowserPopover::setContentSize(KTSize size)
{
    size_ = size;
    if (isShown())
        place();
}

bool KTBrowserPopover::closedByFocusJustNow() const
{
    return closedByFocusAt_ && g_get_monotonic_time() - closedByFocusAt_ < 400 * 1000;
}

bool KTBrowserPopover::isShown() const { return gtk_widget_get_visible(window_); }

void KTBrowserPopover::place()
{
    KTRect frame = KTPopoverPlacement::frameFor(anchorX_, anchorY_, size_, workAreaAt(anchorX_, anchorY_));
    gtk_window_resize(GTK_WINDOW(window_), int(frame.width), int(frame.height));
    gtk_window_move(GTK_WINDOW(window_), int(frame.x), int(frame.y));
}

void KTBrowserPopover::showAt(int x, int y)
{
    // A host that gives no point (0, 0): next to the pointer instead.
    if (x == 0 && y == 0) {
        GdkDisplay* display = gdk_display_get_default();
        GdkSeat* seat = display ? gdk_display_get_default_seat(display) : nullptr;
        if (GdkDevice* pointer = seat ? gdk_seat_get_pointer(seat) : nullptr)
            gdk_device_get_position(pointer, nullptr, &x, &y);
    }
    anchorX_ = x;
    anchorY_ = y;
    place();
    gtk_window_present(GTK_WINDOW(window_));
}

void KTBrowserPopover::close()
{
    focusCheck_.reset();
    gtk_widget_hide(window_);
}

bool KTBrowserPopover::focusStaysInApp() const
{
    bool stays = false;
    GList* all = gtk_window_list_toplevels();
    for (GList* l = all; l && !stays; l = l->next) {
        auto* w = GTK_WINDOW(l->data);
        if (GTK_WIDGET(w) == window_ || !gtk_widget_get_visible(GTK_WIDGET(w)))
            continue;
        GtkWidget* child = gtk_bin_get_child(GTK_BIN(w));
        stays = gtk_window_is_active(w) || (child && GTK_IS_MENU(child));
    }
    g_list_free(all);
    return stays;
}

void KTBrowserPopover::focusLost()
{
    // Hiding takes the focus too: nothing more to close then.
    if (!isShown())
        return;
    // Decided a moment later: a menu or dialog of the page takes the focus
    // on its way up, and the popup stays for those.
    focusCheck_ = KTSource(g_timeout_add(150, +[](gpointer data) -> gboolean {
        auto* self = static_cast<KTBrowserPopover*>(data);
        self->focusCheck_.forget();
        if (self->isShown() && !gtk_window_is_active(self->window()) && !self->focusStaysInApp()) {
            self->close();
            self->closedByFocusAt_ = g_get_monotonic_time();
        }
        return G_SOURCE_REMOVE;
    }, this));
}

} // namespace quilt
