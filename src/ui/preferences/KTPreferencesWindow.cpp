#include "ui/preferences/KTPreferencesWindow.h"

#include "ui/preferences/KTBuilder.h"

namespace quilt {

KTPreferencesWindow::KTPreferencesWindow(std::vector<std::unique_ptr<KTPreferencesPane>> panes)
    : panes_(std::move(panes))
{
    KTBuilder ui("/org/quilt/ui/preferences/window.ui");
    window_ = GTK_WIDGET(g_object_ref(ui.widget("window")));
    stack_ = ui.widget("stack");
    for (auto& p : panes_)
        gtk_stack_add_titled(GTK_STACK(stack_), p->widget(), p->name(), p->title());
    g_signal_connect(window_, "delete-event", G_CALLBACK(+[](GtkWidget*, GdkEvent*, gpointer self) -> gboolean {
                         static_cast<KTPreferencesWindow*>(self)->close();
                         return TRUE;
                     }),
                     this);
    // Escape and Control+W close it, once no control (the hot-key recorder)
    // has taken the key for itself.
    g_signal_connect_after(window_, "key-press-event", G_CALLBACK(+[](GtkWidget*, GdkEventKey* e, gpointer self) -> gboolean {
                               const auto mods = e->state & gtk_accelerator_get_default_mod_mask();
                               const guint key = gdk_keyval_to_lower(e->keyval);
                               if ((key == GDK_KEY_Escape && !mods) || (key == GDK_KEY_w && mods == GDK_CONTROL_MASK)) {
                                   static_cast<KTPreferencesWindow*>(self)->close();
                                   return TRUE;
                               }
                               return FALSE;
                           }),
                           this);
}

KTPreferencesWindow::~KTPreferencesWindow()
{
    *alive_ = false;
    g_signal_handlers_disconnect_by_data(window_, this);
    // The stack lets go of the panes' pages before the panes do.
    GList* kids = gtk_container_get_children(GTK_CONTAINER(stack_));
    for (GList* l = kids; l; l = l->next)
        gtk_container_remove(GTK_CONTAINER(stack_), GTK_WIDGET(l->data));
    g_list_free(kids);
    gtk_widget_destroy(window_);
    g_object_unref(window_);
    panes_.clear();
}

void KTPreferencesWindow::present(const std::string& pane, GtkWindow* parent)
{
    if (!pane.empty() && this->pane(pane))
        gtk_stack_set_visible_child_name(GTK_STACK(stack_), pane.c_str());
    if (parent && !gtk_widget_get_visible(window_))
        gtk_window_set_transient_for(GTK_WINDOW(window_), parent);
    gtk_window_present(GTK_WINDOW(window_));
}

void KTPreferencesWindow::close()
{
    if (!gtk_widget_get_visible(window_))
        return;
    for (auto& p : panes_)
        p->commit();
    gtk_widget_hide(window_);
    auto alive = alive_;
    auto* ctx = new std::pair<KTPreferencesWindow*, std::shared_ptr<bool>>(this, alive);
    g_idle_add_full(G_PRIORITY_DEFAULT, +[](gpointer data) -> gboolean {
        auto* c = static_cast<std::pair<KTPreferencesWindow*, std::shared_ptr<bool>>*>(data);
        if (*c->second && c->first->onClosed)
            c->first->onClosed();
        return G_SOURCE_REMOVE;
    }, ctx, [](gpointer data) { delete static_cast<std::pair<KTPreferencesWindow*, std::shared_ptr<bool>>*>(data); });
}

std::string KTPreferencesWindow::visiblePane() const
{
    const char* name = gtk_stack_get_visible_child_name(GTK_STACK(stack_));
    return name ? name : "";
}

KTPreferencesPane* KTPreferencesWindow::pane(const std::string& name) const
{
    for (auto& p : panes_)
        if (name == p->name())
            return p.get();
    return nullptr;
}

} // namespace quilt
