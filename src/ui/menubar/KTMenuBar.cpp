#include "ui/menubar/KTMenuBar.h"

#include "core/menubar/KTMainMenu.h"

namespace quilt {

namespace {
bool isAlt(guint keyval) { return keyval == GDK_KEY_Alt_L || keyval == GDK_KEY_Alt_R; }
} // namespace

KTMenuBar::KTMenuBar(GtkWindow* window, GMenuModel* model, std::function<void(bool)> openClose)
    : openClose_(std::move(openClose))
{
    bar_ = gtk_menu_bar_new_from_model(model);
    g_object_ref_sink(bar_);
    gtk_widget_set_no_show_all(bar_, TRUE);
    GList* items = gtk_container_get_children(GTK_CONTAINER(bar_));
    for (GList* l = items; l; l = l->next)
        watch(GTK_WIDGET(l->data));
    g_list_free(items);
    // Menus rebuilt after a switch change arrive as new items.
    handlers_.emplace_back(bar_, g_signal_connect(bar_, "insert", G_CALLBACK(+[](GtkMenuShell*, GtkWidget* child, int,
                                                                                  KTMenuBar* self) { self->watch(child); }),
                                                  this));
    // Before the bar handles the press, so the menu opens already rebuilt.
    handlers_.emplace_back(bar_, g_signal_connect(bar_, "button-press-event",
                                                  G_CALLBACK(+[](GtkWidget*, GdkEvent*, KTMenuBar* self) -> gboolean {
                                                      if (self->openClose_)
                                                          self->openClose_(true);
                                                      return FALSE;
                                                  }),
                                                  this));
    handlers_.emplace_back(bar_, g_signal_connect(bar_, "deactivate", G_CALLBACK(+[](GtkMenuShell*, KTMenuBar* self) {
                                                      self->altHeld_ = false;
                                                      self->update();
                                                      if (self->openClose_)
                                                          self->openClose_(false);
                                                  }),
                                                  this));
    auto onKey = +[](GtkWidget*, GdkEventKey* e, KTMenuBar* self) -> gboolean {
        if (!isAlt(e->keyval))
            return FALSE;
        bool pressed = e->type == GDK_KEY_PRESS;
        // Released while one of its menus is open: it stays until the menu closes.
        if (!pressed && gtk_menu_shell_get_selected_item(GTK_MENU_SHELL(self->bar_)))
            return FALSE;
        self->altHeld_ = pressed;
        self->update();
        return FALSE;
    };
    handlers_.emplace_back(window, g_signal_connect(window, "key-press-event", G_CALLBACK(onKey), this));
    handlers_.emplace_back(window, g_signal_connect(window, "key-release-event", G_CALLBACK(onKey), this));
    for (auto& [instance, id] : handlers_)
        g_object_add_weak_pointer(G_OBJECT(instance), &instance);
    update();
}

KTMenuBar::~KTMenuBar()
{
    for (auto& [instance, id] : handlers_) {
        if (instance) {
            g_signal_handler_disconnect(instance, id);
            g_object_remove_weak_pointer(G_OBJECT(instance), &instance);
        }
    }
    gtk_widget_destroy(bar_);
    g_object_unref(bar_);
}

void KTMenuBar::watch(GtkWidget* item)
{
    // Items die with the bar, so their handlers need no bookkeeping.
    g_signal_connect(item, "select", G_CALLBACK(+[](GtkMenuItem*, KTMenuBar* self) {
                         if (self->openClose_)
                             self->openClose_(true);
                     }),
                     this);
}

void KTMenuBar::setToolbarShown(bool shown)
{
    toolbarShown_ = shown;
    update();
}

void KTMenuBar::update()
{
    gtk_widget_set_visible(bar_, KTMainMenu::menuBarVisible(toolbarShown_, altHeld_));
}

} // namespace quilt
