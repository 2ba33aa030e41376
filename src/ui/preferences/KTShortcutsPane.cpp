#include "ui/preferences/KTShortcutsPane.h"

#include "core/menubar/KTShortcutManager.h"

#include <cstdlib>

namespace quilt {

GtkWidget* KTShortcutsPane::widget()
{
    if (!ui_)
        build();
    return ui_->widget("pane");
}

void KTShortcutsPane::build()
{
    ui_ = std::make_unique<KTBuilder>("/org/quilt/ui/preferences/shortcuts.ui");
    table_ = std::make_unique<KTShortcutTable>(KTShortcutManager::sharedManager());
    store_ = GTK_LIST_STORE(ui_->object("store"));
    view_ = GTK_TREE_VIEW(ui_->widget("table"));
    for (int column : {0, 1}) {
        GtkCellRenderer* cell = gtk_cell_renderer_text_new();
        g_object_set(cell, "editable", TRUE, nullptr);
        g_object_set_data(G_OBJECT(cell), "quilt-column", GINT_TO_POINTER(column));
        g_signal_connect(cell, "edited", G_CALLBACK(+[](GtkCellRendererText* c, char* path, char* text, gpointer self) {
                             const int col = GPOINTER_TO_INT(g_object_get_data(G_OBJECT(c), "quilt-column"));
                             static_cast<KTShortcutsPane*>(self)->edited(path, text, col);
                         }),
                         this);
        GtkTreeViewColumn* c = gtk_tree_view_column_new_with_attributes(column ? "Address" : "Shortcut", cell,
                                                                        "text", column, nullptr);
        gtk_tree_view_column_set_resizable(c, TRUE);
        gtk_tree_view_column_set_min_width(c, column ? 280 : 120);
        gtk_tree_view_append_column(view_, c);
    }
    for (const auto& row : table_->rows())
        gtk_list_store_insert_with_values(store_, nullptr, -1, 0, row.word.c_str(), 1, row.url.c_str(), -1);
    g_signal_connect_swapped(ui_->widget("add"), "clicked", G_CALLBACK(+[](KTShortcutsPane* p) { p->addClick(); }),
                             this);
    g_signal_connect_swapped(ui_->widget("remove"), "clicked",
                             G_CALLBACK(+[](KTShortcutsPane* p) { p->removeClick(); }), this);
}

void KTShortcutsPane::commit()
{
    if (table_)
        table_->commit(KTShortcutManager::sharedManager());
}

void KTShortcutsPane::selectRow(size_t row)
{
    GtkTreePath* path = gtk_tree_path_new_from_indices(static_cast<int>(row), -1);
    gtk_tree_view_set_cursor(view_, path, nullptr, FALSE);
    gtk_tree_path_free(path);
}

void KTShortcutsPane::addClick()
{
    const size_t row = table_->add();
    gtk_list_store_insert_with_values(store_, nullptr, -1, 0, "", 1, "", -1);
    // The person types the word at once.
    GtkTreePath* path = gtk_tree_path_new_from_indices(static_cast<int>(row), -1);
    gtk_widget_grab_focus(GTK_WIDGET(view_));
    gtk_tree_view_set_cursor(view_, path, gtk_tree_view_get_column(view_, 0), TRUE);
    gtk_tree_path_free(path);
}

void KTShortcutsPane::removeClick()
{
    const auto selected = selectedRowOf(view_);
    if (!selected)
        return;
    const auto next = table_->remove(selected);
    GtkTreeIter it;
    if (gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(store_), &it, nullptr, static_cast<int>(*selected)))
        gtk_list_store_remove(store_, &it);
    if (next)
        selectRow(*next);
}

void KTShortcutsPane::edited(const char* path, const char* text, int column)
{
    GtkTreeIter it;
    if (!gtk_tree_model_get_iter_from_string(GTK_TREE_MODEL(store_), &it, path))
        return;
    const size_t row = static_cast<size_t>(std::atoi(path));
    gtk_list_store_set(store_, &it, column, text, -1);
    if (column == 0)
        table_->setWord(row, text);
    else
        table_->setUrl(row, text);
    // A new word goes on to its address, as a form moves to the next field.
    if (column == 0 && *text && table_->rows()[row].url.empty()) {
        GtkTreePath* p = gtk_tree_path_new_from_string(path);
        // After the edited handler returns: the editing cell is still going away.
        struct Next {
            GtkTreeView* view;
            GtkTreePath* path;
        };
        g_idle_add_full(G_PRIORITY_DEFAULT_IDLE, +[](gpointer data) -> gboolean {
            auto* n = static_cast<Next*>(data);
            gtk_tree_view_set_cursor(n->view, n->path, gtk_tree_view_get_column(n->view, 1), TRUE);
            return G_SOURCE_REMOVE;
        }, new Next{GTK_TREE_VIEW(g_object_ref(view_)), p}, +[](gpointer data) {
            auto* n = static_cast<Next*>(data);
            gtk_tree_path_free(n->path);
            g_object_unref(n->view);
            delete n;
        });
    }
}

} // namespace quilt

