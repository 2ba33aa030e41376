#pragma once

#include <gtk/gtk.h>

#include <functional>
#include <string>

namespace quilt {

// The two questions after a login was typed into a page: save it, or update
// the password saved for that user. Modal for the page's window; the
// affirmative button is the default, on the right, "Not Now" (Escape) to its
// left. Answered once: a question closed with its window answers no.
class KTPasswordQuestion {
public:
    static void askToSave(GtkWindow* parent, std::function<void(bool save)> done);
    static void askToUpdate(GtkWindow* parent, const std::string& user, const std::string& host,
                            std::function<void(bool update)> done);

private:
    static void ask(GtkWidget* alert, const char* yes, std::function<void(bool)> done);
};

} // namespace quilt
