#pragma once

#include <gtk/gtk.h>
#include <webkit2/webkit2.h>

namespace quilt {

// The HTTP Basic login of a page: "Authentication Required" with a user
// name and a password, modal for the page's window without blocking it.
// "Log In" answers with a credential kept for this session; "Cancel" goes
// on without one, so the server's own "401" page shows, as in a browser.
class KTAuthenticationDialog {
public:
    // True when the request was taken (HTTP Basic); other schemes are left
    // to WebKit.
    static bool handle(WebKitAuthenticationRequest* request, GtkWindow* parent);

    // Widget names of the two fields, for whoever drives the dialog.
    static constexpr const char* kUserFieldName = "quilt-auth-username";
    static constexpr const char* kPasswordFieldName = "quilt-auth-password";
};

} // namespace quilt
