#pragma once

#include "web/KTWebUIDelegate.h"

#include <gtk/gtk.h>

#include <functional>
#include <optional>
#include <string>

namespace quilt {

// The HTTP Basic login of a page: "Authentication Required" with a user
// name and a password, modal for the page's window without blocking it.
// "Log In" answers with what was typed, "Cancel" with nothing.
class KTAuthenticationDialog {
public:
    // Shows the login for host, the user name filled in when known; the
    // returned function closes it unanswered.
    static KTWebUIDelegate::Dismiss ask(GtkWindow* parent, const std::string& host, const std::string& proposedUser,
                                        std::function<void(std::optional<KTLogin>)> done);

    // Widget names of the two fields, for whoever drives the dialog.
    static constexpr const char* kUserFieldName = "quilt-auth-username";
    static constexpr const char* kPasswordFieldName = "quilt-auth-password";
};

} // namespace quilt
