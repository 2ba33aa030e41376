#include "ui/dialogs/KTBookmarkViewController.h"

#include "core/config/KTBookmarksManager.h"
#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"

namespace quilt {

namespace {
// What OK does, kept on the popover.
struct Bookmark {
    bool adding;
    std::string url;
    GtkWidget* field; // entry (adding) or combo box (removing)
};

GtkWidget* makePopover(GtkWidget* relativeTo, const char* title, GtkWidget* field, const char* okTitle,
                       Bookmark* data)
{
    GtkWidget* popover = gtk_popover_new(relativeTo);
    gtk_widget_set_name(popover, data->adding ? "AddBookmarks" : "RemoveBookmarks");
    g_object_set_data_full(G_OBJECT(popover), "quilt-bookmark", data,
                           [](gpointer p) { delete static_cast<Bookmark*>(p); });
    GdkRectangle middle {gtk_widget_get_allocated_width(relativeTo) / 2,
                         gtk_widget_get_allocated_height(relativeTo) / 2, 1, 1};
    gtk_popover_set_pointing_to(GTK_POPOVER(popover), &middle);
    gtk_popover_set_position(GTK_POPOVER(popover), GTK_POS_TOP);

    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 8);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 8);
    g_object_set(grid, "margin", 12, nullptr);
    GtkWidget* label = gtk_label_new(title);
    gtk_widget_set_halign(label, GTK_ALIGN_START);
    gtk_grid_attach(GTK_GRID(grid), label, 0, 0, 2, 1);
    gtk_widget_set_size_request(field, 260, -1);
    gtk_grid_attach(GTK_GRID(grid), field, 0, 1, 2, 1);
    GtkWidget* cancel = gtk_button_new_with_label("Cancel");
    GtkWidget* ok = gtk_button_new_with_label(okTitle);
    gtk_style_context_add_class(gtk_widget_get_style_context(ok), data->adding ? "suggested-action" : "destructive-action");
    gtk_widget_set_can_default(ok, TRUE);
    gtk_grid_attach(GTK_GRID(grid), cancel, 0, 2, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), ok, 1, 2, 1, 1);
    g_signal_connect_swapped(cancel, "clicked", G_CALLBACK(KTBookmarkViewController::cancelClick), popover);
    g_signal_connect_swapped(ok, "clicked", G_CALLBACK(KTBookmarkViewController::okClick), popover);
    gtk_container_add(GTK_CONTAINER(popover), grid);
    // Closed is gone: each opening makes a fresh one.
    g_signal_connect(popover, "closed", G_CALLBACK(+[](GtkPopover* p) {
                         g_idle_add(+[](gpointer w) -> gboolean {
                             gtk_widget_destroy(GTK_WIDGET(w));
                             return G_SOURCE_REMOVE;
                         }, p);
                     }),
                     nullptr);
    gtk_widget_show_all(grid);
    gtk_popover_popup(GTK_POPOVER(popover));
    gtk_widget_grab_focus(field);
    return popover;
}
} // namespace

GtkWidget* KTBookmarkViewController::showAddBookmark(GtkWidget* relativeTo, const std::string& url,
                                                     const std::string& name)
{
    GtkWidget* entry = gtk_entry_new();
    gtk_entry_set_text(GTK_ENTRY(entry), (name.empty() ? url : name).c_str());
    gtk_entry_set_activates_default(GTK_ENTRY(entry), TRUE);
    GtkWidget* popover = makePopover(relativeTo, "Name of the bookmark", entry, "OK", new Bookmark {true, url, entry});
    g_signal_connect_swapped(entry, "activate", G_CALLBACK(okClick), popover);
    return popover;
}

GtkWidget* KTBookmarkViewController::showRemoveBookmark(GtkWidget* relativeTo)
{
    GtkWidget* combo = gtk_combo_box_text_new();
    for (const auto& name : KTBookmarksManager::sharedManager().bookmarks())
        gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(combo), name.c_str());
    gtk_combo_box_set_active(GTK_COMBO_BOX(combo), 0);
    return makePopover(relativeTo, "Bookmark to remove", combo, "Remove", new Bookmark {false, {}, combo});
}

void KTBookmarkViewController::okClick(GtkWidget* popover)
{
    auto* b = static_cast<Bookmark*>(g_object_get_data(G_OBJECT(popover), "quilt-bookmark"));
    if (!b)
        return;
    bool changed = false;
    auto& store = KTBookmarksManager::sharedManager();
    if (b->adding) {
        std::string name = gtk_entry_get_text(GTK_ENTRY(b->field));
        // A bookmark needs a name to be listed by; an empty one stores nothing.
        if (!name.empty() && !b->url.empty()) {
            store.addBookMarkForUrl(name, b->url);
            changed = true;
        }
    } else if (gchar* name = gtk_combo_box_text_get_active_text(GTK_COMBO_BOX_TEXT(b->field))) {
        store.removeBookmark(name);
        g_free(name);
        changed = true;
    }
    gtk_popover_popdown(GTK_POPOVER(popover));
    if (changed)
        KTNotificationCenter::defaultCenter().post(names::kShowBookmark);
}

void KTBookmarkViewController::cancelClick(GtkWidget* popover) { gtk_popover_popdown(GTK_POPOVER(popover)); }

} // namespace quilt
