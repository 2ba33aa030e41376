#pragma once

#include <gtk/gtk.h>

#include <cstddef>
#include <optional>

// One page of the preferences window. The window owns its panes, shows each
// pane's widget in its stack under name() with title() in the sidebar, and
// calls commit() when it closes. Panes write through the stores' own
// operations as the person changes a control, so open pages and windows see
// the change at once; commit() is for panes that save on close (the shortcuts
// table) and does nothing by default.
class KTPreferencesPane {
public:
    virtual ~KTPreferencesPane() = default;

    // Stable id of the pane ("general", "allow-list", ...): the stack child's
    // name, and what tests and `--preferences=<name>` select.
    virtual const char* name() const = 0;
    // The sidebar's text.
    virtual const char* title() const = 0;
    // Built on first call, owned by the pane (it holds a reference).
    virtual GtkWidget* widget() = 0;
    virtual void commit() {}

protected:
    // For the panes that are lists: the index of the row selected in `view`.
    static std::optional<size_t> selectedRowOf(GtkTreeView* view)
    {
        GtkTreeModel* model = nullptr;
        GtkTreeIter it;
        if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(view), &model, &it))
            return std::nullopt;
        GtkTreePath* path = gtk_tree_model_get_path(model, &it);
        const auto row = static_cast<size_t>(gtk_tree_path_get_indices(path)[0]);
        gtk_tree_path_free(path);
        return row;
    }
};
