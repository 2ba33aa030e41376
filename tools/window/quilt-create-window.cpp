// quilt-create-window: the creation window, which quilt-create starts when
// it is run from a desktop rather than a terminal. One instance per session:
// starting it again brings the open window forward.
#include "KTCreationWindow.h"

#include <memory>

int main(int argc, char** argv)
{
    // The window's class names the menu entry org.quilt.Create.desktop.
    g_set_prgname("org.quilt.Create");
    GtkApplication* app = gtk_application_new("org.quilt.Create", G_APPLICATION_DEFAULT_FLAGS);
    std::unique_ptr<quilt::KTCreationWindow> window;
    g_signal_connect(app, "activate", G_CALLBACK(+[](GtkApplication* app, std::unique_ptr<quilt::KTCreationWindow>* window) {
        if (!*window || !(*window)->window())
            *window = std::make_unique<quilt::KTCreationWindow>(app);
        (*window)->present();
    }), &window);
    const int status = g_application_run(G_APPLICATION(app), argc, argv);
    window.reset();
    g_object_unref(app);
    return status;
}
