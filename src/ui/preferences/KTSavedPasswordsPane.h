#pragma once

#include "core/config/KTSignal.h"
#include "core/services/KTCredentials.h"
#include "ui/preferences/KTBuilder.h"
#include "ui/preferences/KTPreferencesPane.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The logins this app saved in the keyring (through the helper service):
// site and user name, the password shown only when asked for, and removal
// of one login or, after a question, of all. Everything is asynchronous; a
// helper that does not answer leaves the list saying so.
class KTSavedPasswordsPane : public KTPreferencesPane {
public:
    KTSavedPasswordsPane();
    ~KTSavedPasswordsPane() override;

    const char* name() const override { return "saved-passwords"; }
    const char* title() const override { return "Saved Passwords"; }
    GtkWidget* widget() override;

    // Asks the helper for the list again.
    void reload();
    // The buttons, as a click does.
    void revealClick();
    void removeClick();
    void removeAllClick();

private:
    void build();
    void show(std::vector<KTCredentials> logins);
    std::optional<size_t> selectedRow() const;
    void setStatus(const char* text);
    static std::vector<std::string> appAddresses();

    std::unique_ptr<KTBuilder> ui_;
    GtkListStore* store_ = nullptr;
    GtkTreeView* view_ = nullptr;
    std::vector<KTCredentials> logins_;
    // A helper that never answers leaves no reply at all: this says so.
    KTSource noAnswer_;
    // Replies that arrive after the pane is gone find this expired.
    std::shared_ptr<KTSavedPasswordsPane*> alive_;
};

} // namespace quilt
