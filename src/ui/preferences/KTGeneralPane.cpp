#include "ui/preferences/KTGeneralPane.h"

#include "core/config/KTBehaviorManager.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTShellDelegate.h"
#include "core/config/KTUserDefaults.h"
#include "ui/windows/KTMainWindowController.h"

namespace quilt {

namespace {
// Behaviour settings are saved at each change: the app may be killed
// before the window closes, and the file is small.
void behavior(void (KTBehaviorManager::*set)(bool), bool v)
{
    auto& b = KTBehaviorManager::sharedManager();
    (b.*set)(v);
    b.save();
}
void showError(GtkWidget* near, const std::string& text)
{
    GtkWidget* top = gtk_widget_get_toplevel(near);
    GtkWidget* dialog = gtk_message_dialog_new(GTK_IS_WINDOW(top) ? GTK_WINDOW(top) : nullptr, GTK_DIALOG_MODAL,
                                               GTK_MESSAGE_ERROR, GTK_BUTTONS_OK, "%s", text.c_str());
    g_signal_connect(dialog, "response", G_CALLBACK(gtk_widget_destroy), nullptr);
    gtk_widget_show(dialog);
}

void setIconImage(GtkWidget* image)
{
    GList* icons = gtk_window_get_default_icon_list();
    if (icons) {
        GdkPixbuf* small = gdk_pixbuf_scale_simple(GDK_PIXBUF(icons->data), 32, 32, GDK_INTERP_BILINEAR);
        gtk_image_set_from_pixbuf(GTK_IMAGE(image), small);
        g_object_unref(small);
        g_list_free(icons);
    } else {
        gtk_image_set_from_icon_name(GTK_IMAGE(image), "application-x-executable", GTK_ICON_SIZE_DND);
    }
}

// Any image the system can read becomes the app's icon, in its bundle and
// in its open windows.
void chooseIcon(GtkButton* button, GtkWidget* image)
{
    GtkWidget* top = gtk_widget_get_toplevel(GTK_WIDGET(button));
    GtkFileChooserNative* chooser = gtk_file_chooser_native_new(
        "Choose an Icon", GTK_IS_WINDOW(top) ? GTK_WINDOW(top) : nullptr, GTK_FILE_CHOOSER_ACTION_OPEN, "Choose",
        "Cancel");
    GtkFileFilter* filter = gtk_file_filter_new();
    gtk_file_filter_set_name(filter, "Images");
    gtk_file_filter_add_pixbuf_formats(filter);
    gtk_file_chooser_add_filter(GTK_FILE_CHOOSER(chooser), filter);
    g_signal_connect(chooser, "response", G_CALLBACK(+[](GtkNativeDialog* d, int response, GtkWidget* image) {
                         char* path = response == GTK_RESPONSE_ACCEPT ? gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(d))
                                                                      : nullptr;
                         if (path) {
                             GError* error = nullptr;
                             GdkPixbuf* pixbuf = gdk_pixbuf_new_from_file(path, &error);
                             KTError failure;
                             if (!pixbuf) {
                                 showError(image, std::string("The image could not be read: ") + error->message);
                                 g_error_free(error);
                             } else if (!KTSettingsManager::sharedManager().saveIconError(pixbuf, &failure)) {
                                 showError(image, failure.localizedDescription);
                             } else {
                                 setIconImage(image);
                                 for (auto& w : KTMainWindowController::mainWindows())
                                     w->updateWindowTitlebar();
                             }
                             if (pixbuf)
                                 g_object_unref(pixbuf);
                             g_free(path);
                         }
                         g_object_unref(d);
                     }),
                     image);
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
}
} // namespace

GtkWidget* KTGeneralPane::widget()
{
    if (!rows_)
        build();
    return rows_->page();
}

void KTGeneralPane::build()
{
    rows_ = std::make_unique<KTPreferencesRows>();
    auto& rows = *rows_;
    auto& settings = KTSettingsManager::sharedManager();
    auto& b = KTBehaviorManager::sharedManager();

    rows.group("Start");
    if (!rows.locks().hidden(KTEnterpriseLocks::kHomePageItem)) {
        rows.addEntry("main_url", "Home page", "Where new windows and the Home button go.",
                      json::stringFor(settings.settings(), "main_url").value_or(""), [](const std::string& url) {
                          auto& s = KTSettingsManager::sharedManager();
                          s.setUrl(url);
                          s.saveSettings();
                      });
    }
    if (!rows.locks().hidden(KTEnterpriseLocks::kAppIconItem)) {
        GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 8);
        GtkWidget* image = gtk_image_new();
        setIconImage(image);
        GtkWidget* change = gtk_button_new_with_label("Change…");
        g_signal_connect(change, "clicked", G_CALLBACK(chooseIcon), image);
        gtk_container_add(GTK_CONTAINER(box), image);
        gtk_container_add(GTK_CONTAINER(box), change);
        rows.row(KTEnterpriseLocks::kAppIconItem, "Application icon", "Shown in the title bar and the task list.", box);
    }
    rows.addSwitch("restoreWindowsAndTabs", "Restore windows and tabs", "Reopen what was open when the app quit.",
                   b.restoreWindowsAndTabs(),
                   [](bool v) { behavior(&KTBehaviorManager::setRestoreWindowsAndTabs, v); });

    rows.group("Links");
    rows.addChoice("openLinksKey", "Open links from other programs in", "",
                   {"A new window", "A new tab", "The current tab"}, static_cast<int>(b.openLinksIn()), [](int v) {
                       if (v < 0)
                           return;
                       auto& bm = KTBehaviorManager::sharedManager();
                       bm.setOpenLinksIn(static_cast<uint64_t>(v));
                       bm.save();
                   });
    rows.addSwitch("openTabWindow", "Open tabs instead of windows", "New windows a page asks for become tabs.",
                   b.openTabInsteadWindow(), [](bool v) { behavior(&KTBehaviorManager::setOpenTabInsteadWindow, v); });

    rows.group("Closing");
    rows.addSwitch("closeApplication", "Quit with the last window",
                   "Otherwise the app keeps running hidden and comes back when opened again.", b.closeApplication(),
                   [](bool v) { behavior(&KTBehaviorManager::setCloseApplication, v); });
    rows.addSwitch("warnWindowsClose", "Warn before quitting", "Ask first when several windows are open.",
                   b.warnCloseWindows(), [](bool v) { behavior(&KTBehaviorManager::setWarnCloseWindows, v); });
    rows.addSwitch("confirmBeforeTabsClose", "Warn before closing several tabs", "", settings.confirmColseTabs(),
                   [](bool v) {
                       auto& s = KTSettingsManager::sharedManager();
                       s.setConfirmColseTabs(v);
                       s.saveSettings();
                   });

    rows.group("Keyboard");
    auto& defaults = KTUserDefaults::standardUserDefaults();
    hotKey_ = std::make_unique<KTShortcutRecorder>(defaults.stringForKey("globalShortcutKey").value_or(""));
    hotKey_->changed = [](const std::string& accel) {
        auto& d = KTUserDefaults::standardUserDefaults();
        if (accel.empty())
            d.removeObjectForKey("globalShortcutKey");
        else
            d.setString("globalShortcutKey", accel);
        d.synchronize();
        // An empty combination unbinds.
        KTShellDelegate::shared().registerGlobalShortcut(accel);
    };
    rows.row("globalShortcutKey", "Show the app from anywhere",
             "A key combination that brings the app's window forward, whichever program is in front.",
             hotKey_->widget());
}

} // namespace quilt
