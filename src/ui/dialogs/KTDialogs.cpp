#include "ui/dialogs/KTDialogs.h"

#include "ui/dialogs/KTAuthenticationDialog.h"
#include "ui/dialogs/KTAutoFillMenuViewController.h"
#include "ui/dialogs/KTPasswordQuestion.h"
#include "ui/windows/KTMainWindowController.h"

#include <gtk/gtk.h>

namespace quilt {

namespace {

// Calls `Answer` with the dialog's response, once, from a heap copy of the
// callback that goes with the signal connection.
template <class Answer>
void onResponse(gpointer dialog, GCallback handler, Answer answer)
{
    g_signal_connect_data(dialog, "response", handler, new Answer(std::move(answer)),
                          +[](gpointer data, GClosure*) { delete static_cast<Answer*>(data); }, GConnectFlags(0));
}

using Confirm = std::function<void(bool)>;
using Alerted = std::function<void(bool, bool)>;

// A modal dialog takes the keys from the windows that hold the application's
// shortcuts; the quit shortcut is passed on from here.
void letQuitThrough(GtkWidget* dialog)
{
    g_signal_connect(dialog, "key-press-event", G_CALLBACK(+[](GtkWidget*, GdkEventKey* event, gpointer) -> gboolean {
                         auto* app = GTK_APPLICATION(g_application_get_default());
                         if (!app || !GTK_IS_APPLICATION(app))
                             return FALSE;
                         const GdkModifierType mods
                             = GdkModifierType(event->state & gtk_accelerator_get_default_mod_mask());
                         char* accel = gtk_accelerator_name(gdk_keyval_to_lower(event->keyval), mods);
                         char** actions = gtk_application_get_actions_for_accel(app, accel);
                         g_free(accel);
                         bool quit = false;
                         for (char** a = actions; a && *a; ++a)
                             quit = quit || g_strcmp0(*a, "app.quit") == 0;
                         g_strfreev(actions);
                         if (quit)
                             g_action_group_activate_action(G_ACTION_GROUP(app), "quit", nullptr);
                         return quit;
                     }),
                     nullptr);
}
using Files = std::function<void(std::vector<std::string>)>;
using SavePath = std::function<void(std::optional<std::string>)>;

} // namespace

void KTDialogs::install()
{
    static KTDialogs dialogs;
    KTWebUIDelegate::setShared(&dialogs);
}

void KTDialogs::runScriptAlert(GtkWindow* parent, const std::string& message, bool confirm, bool offerSilence,
                               Alerted done)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GTK_DIALOG_MODAL, GTK_MESSAGE_INFO, GTK_BUTTONS_NONE, "Quilt");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert), "%s", message.c_str());
    GtkWidget* silence = nullptr;
    if (offerSilence) {
        silence = gtk_check_button_new_with_label("Don't let this page show more dialogs");
        gtk_widget_set_name(silence, "quilt-silence-page");
        gtk_box_pack_end(GTK_BOX(gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(alert))), silence, FALSE,
                         FALSE, 0);
        gtk_widget_show(silence);
    }
    if (confirm)
        gtk_dialog_add_button(GTK_DIALOG(alert), "Cancel", GTK_RESPONSE_CANCEL);
    gtk_dialog_add_button(GTK_DIALOG(alert), "OK", GTK_RESPONSE_OK);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_OK);
    g_object_set_data(G_OBJECT(alert), "quilt-silence", silence);
    letQuitThrough(alert);
    onResponse(alert, G_CALLBACK(+[](GtkDialog* d, int response, Alerted* answer) {
                   auto* check = static_cast<GtkWidget*>(g_object_get_data(G_OBJECT(d), "quilt-silence"));
                   const bool silenced = check && gtk_toggle_button_get_active(GTK_TOGGLE_BUTTON(check));
                   Alerted done = std::move(*answer);
                   gtk_widget_destroy(GTK_WIDGET(d));
                   done(response == GTK_RESPONSE_OK, silenced);
               }),
               std::move(done));
    gtk_widget_show(alert);
}

void KTDialogs::chooseUploadFiles(GtkWindow* parent, bool multiple, Files done)
{
    GtkFileChooserNative* chooser
        = gtk_file_chooser_native_new(nullptr, parent, GTK_FILE_CHOOSER_ACTION_OPEN, nullptr, nullptr);
    gtk_file_chooser_set_select_multiple(GTK_FILE_CHOOSER(chooser), multiple);
    onResponse(chooser, G_CALLBACK(+[](GtkNativeDialog* d, int response, Files* answer) {
                   std::vector<std::string> files;
                   if (response == GTK_RESPONSE_ACCEPT) {
                       GSList* chosen = gtk_file_chooser_get_filenames(GTK_FILE_CHOOSER(d));
                       for (GSList* l = chosen; l; l = l->next)
                           files.emplace_back(static_cast<const char*>(l->data));
                       g_slist_free_full(chosen, g_free);
                   }
                   Files done = std::move(*answer);
                   g_object_unref(d);
                   done(std::move(files));
               }),
               std::move(done));
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
}

KTWebUIDelegate::Dismiss KTDialogs::askForLogin(GtkWindow* parent, const std::string& host,
                                                const std::string& proposedUser,
                                                std::function<void(std::optional<KTLogin>)> done)
{
    return KTAuthenticationDialog::ask(parent, host, proposedUser, std::move(done));
}

void KTDialogs::askToOpenApp(GtkWindow* parent, const std::string& appName, Confirm done)
{
    GtkWidget* alert = gtk_message_dialog_new(parent, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                              GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE, "Open %s?", appName.c_str());
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert), "A website wants to open this application.");
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Open", GTK_RESPONSE_ACCEPT, "Cancel", GTK_RESPONSE_CANCEL, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_ACCEPT);
    letQuitThrough(alert);
    onResponse(alert, G_CALLBACK(+[](GtkDialog* d, int response, Confirm* answer) {
                   (*answer)(response == GTK_RESPONSE_ACCEPT);
                   gtk_widget_destroy(GTK_WIDGET(d));
               }),
               std::move(done));
    gtk_widget_show(alert);
}

void KTDialogs::chooseSavePath(GtkWindow* parent, const std::string& folder, const std::string& fileName,
                               SavePath done)
{
    GtkFileChooserNative* chooser
        = gtk_file_chooser_native_new("Save File", parent, GTK_FILE_CHOOSER_ACTION_SAVE, "_Save", "_Cancel");
    GtkFileChooser* fc = GTK_FILE_CHOOSER(chooser);
    gtk_native_dialog_set_modal(GTK_NATIVE_DIALOG(chooser), parent != nullptr);
    gtk_file_chooser_set_do_overwrite_confirmation(fc, TRUE);
    gtk_file_chooser_set_current_folder(fc, folder.c_str());
    gtk_file_chooser_set_current_name(fc, fileName.c_str());
    onResponse(chooser, G_CALLBACK(+[](GtkNativeDialog* d, int response, SavePath* answer) {
                   std::optional<std::string> path;
                   if (response == GTK_RESPONSE_ACCEPT) {
                       if (char* file = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(d))) {
                           path = file;
                           g_free(file);
                       }
                   }
                   // The dialog goes first: the answer may open another.
                   SavePath done = std::move(*answer);
                   g_object_unref(d);
                   done(path);
               }),
               std::move(done));
    gtk_native_dialog_show(GTK_NATIVE_DIALOG(chooser));
}

void KTDialogs::showDownloadsToolbar(GtkWindow* window)
{
    KTMainWindowController* c = window ? KTMainWindowController::forWindow(window) : nullptr;
    if (!c)
        c = KTMainWindowController::front();
    if (c)
        c->tabController()->showToolbar();
}

void KTDialogs::showAutoFillMenu(GtkWindow* parent, int x, int y, const std::vector<std::string>& users,
                                 std::function<void(size_t)> chosen)
{
    KTAutoFillMenuViewController::shared().show(parent, x, y, users, std::move(chosen));
}

void KTDialogs::hideAutoFillMenu() { KTAutoFillMenuViewController::shared().hide(); }

bool KTDialogs::isAutoFillMenuVisible() const { return KTAutoFillMenuViewController::shared().isVisible(); }

int KTDialogs::autoFillMenuKey(int key)
{
    auto& menu = KTAutoFillMenuViewController::shared();
    if (key == -1)
        menu.selectUp();
    else if (key == 1)
        menu.selectDown();
    else if (key == 13)
        menu.selectMenu();
    else if (key == 27)
        menu.hide();
    return menu.isVisible() ? menu.selectedRow() : -1;
}

void KTDialogs::askToSavePassword(GtkWindow* parent, std::function<void(bool)> done)
{
    KTPasswordQuestion::askToSave(parent, std::move(done));
}

void KTDialogs::askToUpdatePassword(GtkWindow* parent, const std::string& user, const std::string& host,
                                    std::function<void(bool)> done)
{
    KTPasswordQuestion::askToUpdate(parent, user, host, std::move(done));
}

} // namespace quilt
