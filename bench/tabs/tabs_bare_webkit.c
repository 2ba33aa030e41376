/* tabs-bare-webkit [--gtk] [URL...]
 *
 * The floor under the app's tab switching: a GtkNotebook of WebKitWebViews
 * with the app's rendering settings (software rendering, no DMA-BUF renderer,
 * related views sharing a web process) and nothing else. With --gtk the
 * pages are plain coloured GTK widgets named by the "n" of their URL, which
 * measures the benchmark itself: the key, the notebook and the screen
 * polling, with no engine at all.
 *
 * A single-instance application: a second call hands its URLs to the first
 * as new tabs, as the app does. Control+Page_Down selects the next tab. */
#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

#include <stdlib.h>
#include <string.h>

static gboolean plainGtk;
static GtkWidget* notebook;
static WebKitWebView* firstView;
static WebKitSettings* settings;

/* The benchmark's colour of tab n, as tabs_bench.py paints its pages. */
static GtkWidget* colourPage(const char* url)
{
    const char* n = strstr(url, "n=");
    int i = n ? atoi(n + 2) : 0;
    GdkRGBA c = { ((37 * i + 40) % 200 + 30) / 255.0, ((91 * i + 120) % 200 + 30) / 255.0,
                  ((53 * i + 200) % 200 + 30) / 255.0, 1 };
    GtkWidget* page = gtk_event_box_new();
    G_GNUC_BEGIN_IGNORE_DEPRECATIONS
    gtk_widget_override_background_color(page, GTK_STATE_FLAG_NORMAL, &c);
    G_GNUC_END_IGNORE_DEPRECATIONS
    return page;
}

static GtkWidget* webPage(const char* url)
{
    GtkWidget* page = firstView
        ? GTK_WIDGET(g_object_new(WEBKIT_TYPE_WEB_VIEW, "related-view", firstView, "settings", settings, NULL))
        : GTK_WIDGET(g_object_new(WEBKIT_TYPE_WEB_VIEW, "settings", settings, NULL));
    if (!firstView)
        firstView = WEBKIT_WEB_VIEW(page);
    webkit_web_view_load_uri(WEBKIT_WEB_VIEW(page), url);
    return page;
}

static void addTab(const char* url)
{
    GtkWidget* page = plainGtk ? colourPage(url) : webPage(url);
    gtk_widget_show(page);
    gtk_notebook_append_page(GTK_NOTEBOOK(notebook), page, gtk_label_new(url));
}

static gboolean onKey(G_GNUC_UNUSED GtkWidget* window, GdkEventKey* event, G_GNUC_UNUSED gpointer data)
{
    if (!(event->state & GDK_CONTROL_MASK) || event->keyval != GDK_KEY_Page_Down)
        return FALSE;
    GtkNotebook* nb = GTK_NOTEBOOK(notebook);
    gtk_notebook_set_current_page(nb, (gtk_notebook_get_current_page(nb) + 1) % gtk_notebook_get_n_pages(nb));
    return TRUE;
}

static void onOpen(GApplication* app, GFile** files, gint count, G_GNUC_UNUSED const gchar* hint,
                   G_GNUC_UNUSED gpointer data)
{
    GtkWindow* window = gtk_application_get_active_window(GTK_APPLICATION(app));
    if (!window) {
        window = GTK_WINDOW(gtk_application_window_new(GTK_APPLICATION(app)));
        gtk_window_set_default_size(window, 1000, 700);
        notebook = gtk_notebook_new();
        gtk_notebook_set_scrollable(GTK_NOTEBOOK(notebook), TRUE);
        gtk_container_add(GTK_CONTAINER(window), notebook);
        g_signal_connect(window, "key-press-event", G_CALLBACK(onKey), NULL);
        gtk_widget_show(notebook);
    }
    for (gint i = 0; i < count; ++i) {
        char* url = g_file_get_uri(files[i]);
        addTab(url);
        g_free(url);
    }
    gtk_window_present(window);
}

int main(int argc, char** argv)
{
    if (argc > 1 && !strcmp(argv[1], "--gtk")) {
        plainGtk = TRUE;
        argv[1] = argv[0];
        ++argv;
        --argc;
    }
    g_setenv("WEBKIT_DISABLE_DMABUF_RENDERER", "1", FALSE);
    g_set_prgname(plainGtk ? "tabs-bare-gtk" : "tabs-bare-webkit");
    settings = webkit_settings_new();
    webkit_settings_set_enable_back_forward_navigation_gestures(settings, FALSE);
    webkit_settings_set_hardware_acceleration_policy(settings, WEBKIT_HARDWARE_ACCELERATION_POLICY_NEVER);
    GtkApplication* app = gtk_application_new(plainGtk ? "org.quilt.bench.BareGtk" : "org.quilt.bench.BareWebKit",
                                              G_APPLICATION_HANDLES_OPEN);
    g_signal_connect(app, "open", G_CALLBACK(onOpen), NULL);
    int status = g_application_run(G_APPLICATION(app), argc, argv);
    g_object_unref(app);
    g_object_unref(settings);
    return status;
}
