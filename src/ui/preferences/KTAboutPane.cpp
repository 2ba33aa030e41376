#include "ui/preferences/KTAboutPane.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileManager.h"
#include "core/config/KTLog.h"
#include "core/config/KTQuiltManager.h"

namespace quilt {

GtkWidget* KTAboutPane::widget()
{
    if (!rows_)
        build();
    return rows_->page();
}

void KTAboutPane::build()
{
    rows_ = std::make_unique<KTPreferencesRows>();
    auto& rows = *rows_;
    KTBundle& bundle = KTBundle::main();
    rows.group("This app");
    rows.addInfo("appName", "Name", KTQuiltManager::applicationName());
    rows.addInfo("version", "Version", bundle.infoString("CFBundleVersion"));
    rows.addInfo("templateVersion", "Template version", bundle.shortVersion());
    rows.addInfo("bundlePath", "Installed in", bundle.path());

    rows.group("Data");
    const std::string folder = KTFileManager::getSettingsPath();
    rows.addInfo("dataFolder", "Data folder", folder);
    GtkWidget* open = gtk_button_new_with_label("Open Data Folder");
    g_signal_connect(open, "clicked", G_CALLBACK(+[](GtkButton* b, gpointer) {
                         char* uri = g_filename_to_uri(KTFileManager::getSettingsPath().c_str(), nullptr, nullptr);
                         GError* error = nullptr;
                         GtkWidget* top = gtk_widget_get_toplevel(GTK_WIDGET(b));
                         if (uri && !gtk_show_uri_on_window(GTK_IS_WINDOW(top) ? GTK_WINDOW(top) : nullptr, uri,
                                                            GDK_CURRENT_TIME, &error)) {
                             KTLog::line(std::string("error: ") + error->message);
                             g_error_free(error);
                         }
                         g_free(uri);
                     }),
                     nullptr);
    rows.row("openDataFolder", "Settings, history and bookmarks",
             "The app's files: settings, bookmarks, history, scripts and styles.", open);
}

} // namespace quilt
