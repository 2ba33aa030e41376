#include "web/KTAuthenticationDialog.h"

#include "core/config/GRef.h"
#include "core/config/KTSignal.h"

namespace quilt {

namespace {

GtkWidget* label(const char* text)
{
    GtkWidget* l = gtk_label_new(text);
    gtk_label_set_xalign(GTK_LABEL(l), 0.0f);
    gtk_widget_set_size_request(l, 70, 20);
    return l;
}

GtkWidget* field(const char* name, bool secret)
{
    GtkWidget* e = gtk_entry_new();
    gtk_widget_set_name(e, name);
    gtk_widget_set_size_request(e, 230, 24);
    gtk_entry_set_activates_default(GTK_ENTRY(e), TRUE);
    if (secret) {
        gtk_entry_set_visibility(GTK_ENTRY(e), FALSE);
        gtk_entry_set_input_purpose(GTK_ENTRY(e), GTK_INPUT_PURPOSE_PASSWORD);
    }
    return e;
}

struct Login {
    GRef<WebKitAuthenticationRequest> request;
    GtkWidget* user;
    GtkWidget* password;
    KTSignal cancelled; // WebKit gave up (the load stopped): the dialog goes
};

} // namespace

bool KTAuthenticationDialog::handle(WebKitAuthenticationRequest* request, GtkWindow* parent)
{
    if (webkit_authentication_request_get_scheme(request) != WEBKIT_AUTHENTICATION_SCHEME_HTTP_BASIC)
        return false;
    const char* host = webkit_authentication_request_get_host(request);
    GtkWidget* alert = gtk_message_dialog_new(parent, GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                              GTK_MESSAGE_QUESTION, GTK_BUTTONS_NONE, "Authentication Required");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(alert),
                                             "To view this page, you must login to this area on %s", host ? host : "");
    gtk_dialog_add_buttons(GTK_DIALOG(alert), "Log In", GTK_RESPONSE_OK, "Cancel", GTK_RESPONSE_CANCEL, nullptr);
    gtk_dialog_set_default_response(GTK_DIALOG(alert), GTK_RESPONSE_OK);

    auto* login = new Login{GRef<WebKitAuthenticationRequest>::retain(request), field(kUserFieldName, false),
                            field(kPasswordFieldName, true), {}};
    GtkWidget* grid = gtk_grid_new();
    gtk_grid_set_row_spacing(GTK_GRID(grid), 8);
    gtk_grid_set_column_spacing(GTK_GRID(grid), 0);
    gtk_grid_attach(GTK_GRID(grid), label("Username"), 0, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), login->user, 1, 0, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), label("Password"), 0, 1, 1, 1);
    gtk_grid_attach(GTK_GRID(grid), login->password, 1, 1, 1, 1);
    if (WebKitCredential* proposed = webkit_authentication_request_get_proposed_credential(request)) {
        if (const char* user = webkit_credential_get_username(proposed))
            gtk_entry_set_text(GTK_ENTRY(login->user), user);
        webkit_credential_free(proposed);
    }
    gtk_container_add(GTK_CONTAINER(gtk_message_dialog_get_message_area(GTK_MESSAGE_DIALOG(alert))), grid);
    gtk_widget_show_all(grid);

    login->cancelled = KTSignal(request, "cancelled", G_CALLBACK(+[](WebKitAuthenticationRequest*, GtkWidget* d) {
                                    gtk_widget_destroy(d);
                                }),
                                alert);
    g_signal_connect_data(alert, "response", G_CALLBACK(+[](GtkDialog* d, int response, Login* l) {
                              l->cancelled.disconnect();
                              WebKitCredential* credential = nullptr;
                              if (response == GTK_RESPONSE_OK)
                                  credential = webkit_credential_new(gtk_entry_get_text(GTK_ENTRY(l->user)),
                                                                     gtk_entry_get_text(GTK_ENTRY(l->password)),
                                                                     WEBKIT_CREDENTIAL_PERSISTENCE_FOR_SESSION);
                              webkit_authentication_request_authenticate(l->request.get(), credential);
                              if (credential)
                                  webkit_credential_free(credential);
                              gtk_widget_destroy(GTK_WIDGET(d));
                          }),
                          login, +[](gpointer data, GClosure*) { delete static_cast<Login*>(data); },
                          GConnectFlags(0));
    gtk_widget_grab_focus(gtk_entry_get_text_length(GTK_ENTRY(login->user)) ? login->password : login->user);
    gtk_widget_show(alert);
    return true;
}

} // namespace quilt
