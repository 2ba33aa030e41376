#pragma once

#include "KTLoginSite.h"
#include "core/services/KTCredentials.h"

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The logins in the user's keyring (the Secret Service, through libsecret):
// one item per site and user name under the schema "org.quilt.Login" with
// the attributes "site" (KTLoginSite::origin) and "username", labelled
// "Quilt: user@host" so that a person finds it in a keyring manager. Every
// lookup names the site, so one site's logins never answer another's.
// Blocking calls: the helper runs them off its main loop. Failures are
// logged and answer "nothing" (no logins, no password, false).
class KTKeyringStore {
public:
    static constexpr const char* kSchemaName = "org.quilt.Login";

    // Oldest first (the keyring keeps seconds), then by user name; "url" is
    // the site's origin.
    static std::vector<KTCredentials> credentialsFor(const KTLoginSite& site);
    static std::optional<std::string> passwordFor(const std::string& username, const KTLoginSite& site);
    // Creates the login or replaces its password.
    static bool save(const std::string& password, const std::string& username, const KTLoginSite& site);
    // Replaces the password of an existing login only; false when there is none.
    static bool update(const std::string& password, const std::string& username, const KTLoginSite& site);
    // Deletes one login; false when there was none.
    static bool remove(const std::string& username, const KTLoginSite& site);
    // Deletes every login of the site; how many there were.
    static unsigned removeAll(const KTLoginSite& site);
};

} // namespace quilt
