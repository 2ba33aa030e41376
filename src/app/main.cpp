// Entry of every app bundle.
#include "app/AppDelegate.h"

#include <glib.h>

int main(int argc, char** argv)
{
    // Software rendering (the default, see KTWebContext) has no use for the
    // engine's GPU buffer path, which costs memory in this process.
    const char* gpu = g_getenv("QUILT_HARDWARE_ACCELERATION");
    if (g_strcmp0(gpu, "1") != 0)
        g_setenv("WEBKIT_DISABLE_DMABUF_RENDERER", "1", FALSE);
    quilt::AppDelegate app;
    return app.run(argc, argv);
}
