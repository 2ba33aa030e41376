#include "ui/preferences/KTSavedPasswordsPane.h"

#include "core/config/KTSettingsManager.h"
#include "core/services/KTAppLoginSites.h"
#include "core/services/KTServiceManager.h"
#include "core/web/KTWhiteListManager.h"

namespace quilt {

namespace {
constexpr const char* kHidden = "••••••••";

// Runs `f` with the pane if it still exists.
template <class F>
auto whileAlive(const std::shared_ptr<KTSavedPasswordsPane*>& alive, F f)
{
    return [weak = std::weak_ptr<KTSavedPasswordsPane*>(alive), f](auto&&... args) {
        if (auto pane = weak.lock())
            f(**pane, std::forward<decltype(args)>(args)...);
    };
}
} // namespace

KTSavedPasswordsPane::KTSavedPasswordsPane()
    : alive_(std::make_shared<KTSavedPasswordsPane*>(this))
{
}

KTSavedPasswordsPane::~KTSavedPasswordsPane() = default;

GtkWidget* KTSavedPasswordsPane::widget()
{
    if (!ui_)
        build();
    return ui_->widget("pane");
}

std::vector<std::string> KTSavedPasswordsPane::appAddresses()
{
    auto& list = KTWhiteListManager::sharedManager();
    return KTAppLoginSites::addresses(KTSettingsManager::sharedManager().getMainUrl(),
                                      !list.allowAll() && list.allowPatterns(), list.patterns());
}

void KTSavedPasswordsPane::build()
{
    ui_ = std::make_unique<KTBuilder>("/org/quilt/ui/preferences/saved-passwords.ui");
    store_ = GTK_LIST_STORE(ui_->object("store"));
    view_ = GTK_TREE_VIEW(ui_->widget("logins"));
    int column = 0;
    for (const char* title : {"Site", "User Name", "Password"}) {
        GtkCellRenderer* cell = gtk_cell_renderer_text_new();
        GtkTreeViewColumn* c = gtk_tree_view_column_new_with_attributes(title, cell, "text", column++, nullptr);
        gtk_tree_view_column_set_resizable(c, TRUE);
        gtk_tree_view_column_set_expand(c, column == 1);
        gtk_tree_view_append_column(view_, c);
    }
    g_signal_connect_swapped(ui_->widget("reveal"), "clicked",
                             G_CALLBACK(+[](KTSavedPasswordsPane* p) { p->revealClick(); }), this);
    g_signal_connect_swapped(ui_->widget("remove"), "clicked",
                             G_CALLBACK(+[](KTSavedPasswordsPane* p) { p->removeClick(); }), this);
    g_signal_connect_swapped(ui_->widget("remove-all"), "clicked",
                             G_CALLBACK(+[](KTSavedPasswordsPane* p) { p->removeAllClick(); }), this);
    // Logins saved while the window was open show when the pane comes back.
    g_signal_connect_swapped(ui_->widget("pane"), "map", G_CALLBACK(+[](KTSavedPasswordsPane* p) { p->reload(); }),
                             this);
}

void KTSavedPasswordsPane::setStatus(const char* text)
{
    gtk_label_set_text(GTK_LABEL(ui_->widget("status")), text);
}

void KTSavedPasswordsPane::reload()
{
    widget();
    setStatus("Asking the password service…");
    const auto addresses = appAddresses();
    if (addresses.empty()) {
        show({});
        return;
    }
    noAnswer_ = KTSource(g_timeout_add(KTServiceManager::kReplyTimeoutMs + 1000, +[](gpointer self) -> gboolean {
        auto* pane = static_cast<KTSavedPasswordsPane*>(self);
        pane->noAnswer_.forget();
        pane->setStatus("The password service does not answer; saved passwords cannot be shown now.");
        return G_SOURCE_REMOVE;
    }, this));
    KTServiceManager::sharedManager().loginsSavedForWithReply(
        addresses, whileAlive(alive_, [](KTSavedPasswordsPane& pane, std::vector<KTCredentials> logins) {
            pane.show(std::move(logins));
        }));
}

void KTSavedPasswordsPane::show(std::vector<KTCredentials> logins)
{
    noAnswer_.reset();
    logins_ = std::move(logins);
    gtk_list_store_clear(store_);
    for (const auto& login : logins_)
        gtk_list_store_insert_with_values(store_, nullptr, -1, 0, login.url.value_or("").c_str(), 1,
                                          login.username.value_or("").c_str(), 2, kHidden, -1);
    setStatus(logins_.empty() ? "This app has no saved passwords."
                              : "Passwords this app saved in your keyring. Select one to show or remove it.");
    gtk_widget_set_sensitive(ui_->widget("remove-all"), !logins_.empty());
}

std::optional<size_t> KTSavedPasswordsPane::selectedRow() const
{
    const auto row = selectedRowOf(view_);
    return row && *row < logins_.size() ? row : std::nullopt;
}

void KTSavedPasswordsPane::revealClick()
{
    const auto row = selectedRow();
    if (!row)
        return;
    GtkTreeIter it;
    gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(store_), &it, nullptr, static_cast<int>(*row));
    gchar* shown = nullptr;
    gtk_tree_model_get(GTK_TREE_MODEL(store_), &it, 2, &shown, -1);
    const bool hidden = shown && std::string(shown) == kHidden;
    g_free(shown);
    if (!hidden) {
        gtk_list_store_set(store_, &it, 2, kHidden, -1);
        return;
    }
    const KTCredentials login = logins_[*row];
    KTServiceManager::sharedManager().passwordForSavedForWithReply(
        login.username.value_or(""), login.url.value_or(""),
        whileAlive(alive_, [login](KTSavedPasswordsPane& pane, std::optional<std::string> password) {
            // The list may have changed meanwhile: find the login again.
            for (size_t i = 0; i < pane.logins_.size(); ++i) {
                GtkTreeIter row;
                if (pane.logins_[i] == login
                    && gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(pane.store_), &row, nullptr, static_cast<int>(i)))
                    gtk_list_store_set(pane.store_, &row, 2, password ? password->c_str() : "(not found)", -1);
            }
        }));
}

void KTSavedPasswordsPane::removeClick()
{
    const auto row = selectedRow();
    if (!row)
        return;
    const KTCredentials login = logins_[*row];
    KTServiceManager::sharedManager().removeCredentialsForUsernameSavedForWithReply(
        login.username.value_or(""), login.url.value_or(""),
        whileAlive(alive_, [](KTSavedPasswordsPane& pane, bool) { pane.reload(); }));
}

void KTSavedPasswordsPane::removeAllClick()
{
    if (logins_.empty())
        return;
    GtkWidget* top = gtk_widget_get_toplevel(ui_->widget("pane"));
    GtkWidget* dialog = gtk_message_dialog_new(GTK_IS_WINDOW(top) ? GTK_WINDOW(top) : nullptr,
                                               GtkDialogFlags(GTK_DIALOG_MODAL | GTK_DIALOG_DESTROY_WITH_PARENT),
                                               GTK_MESSAGE_WARNING, GTK_BUTTONS_NONE,
                                               "Remove all saved passwords of this app?");
    gtk_message_dialog_format_secondary_text(GTK_MESSAGE_DIALOG(dialog),
                                             "They are deleted from your keyring and cannot be brought back.");
    gtk_dialog_add_button(GTK_DIALOG(dialog), "Cancel", GTK_RESPONSE_CANCEL);
    GtkWidget* remove = gtk_dialog_add_button(GTK_DIALOG(dialog), "Remove All", GTK_RESPONSE_ACCEPT);
    gtk_style_context_add_class(gtk_widget_get_style_context(remove), "destructive-action");
    gtk_dialog_set_default_response(GTK_DIALOG(dialog), GTK_RESPONSE_CANCEL);
    // Answered from the main loop: nothing here waits for the person.
    auto* alive = new std::weak_ptr<KTSavedPasswordsPane*>(alive_);
    g_signal_connect_data(dialog, "response", G_CALLBACK(+[](GtkDialog* d, int response, gpointer data) {
                              auto pane = static_cast<std::weak_ptr<KTSavedPasswordsPane*>*>(data)->lock();
                              gtk_widget_destroy(GTK_WIDGET(d));
                              if (!pane || response != GTK_RESPONSE_ACCEPT)
                                  return;
                              KTServiceManager::sharedManager().removeAllCredentialsSavedForWithReply(
                                  appAddresses(), whileAlive(pane, [](KTSavedPasswordsPane& p, unsigned) {
                                      p.reload();
                                  }));
                          }),
                          alive, +[](gpointer data, GClosure*) {
                              delete static_cast<std::weak_ptr<KTSavedPasswordsPane*>*>(data);
                          },
                          GConnectFlags(0));
    gtk_widget_show(dialog);
}

} // namespace quilt
