#pragma once

#include <gtk/gtk.h>

#include <string>

namespace quilt {

// The bookmark popovers, pointing at the middle of a window's content:
// "AddBookmarks" names the page's address and stores it (the name field
// starts with the page title, else the address); "RemoveBookmarks" picks
// a stored bookmark to remove. Either posts "showBookmark" when it changed
// the store, so every bookmark bar and menu follows.
class KTBookmarkViewController {
public:
    static GtkWidget* showAddBookmark(GtkWidget* relativeTo, const std::string& url, const std::string& name);
    static GtkWidget* showRemoveBookmark(GtkWidget* relativeTo);

    // The popover's buttons, as a click would.
    static void okClick(GtkWidget* popover);
    static void cancelClick(GtkWidget* popover);
};

} // namespace quilt
