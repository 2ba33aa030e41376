#pragma once

#include <glib.h>

#include <optional>
#include <string>

namespace quilt {

// One saved login as it travels between the app and the helper service: an
// a{sv} with the keys "username", "password" and "url", written in that
// order. Any field may be absent; an absent field is left out of the
// dictionary, so absent and "" stay apart.
struct KTCredentials {
    std::optional<std::string> username;
    std::optional<std::string> password;
    std::optional<std::string> url;

    bool operator==(const KTCredentials&) const = default;

    // A new floating a{sv}, as g_variant_new gives.
    GVariant* toVariant() const;
    // nullopt when the record is refused (see KTVariantReader).
    static std::optional<KTCredentials> fromVariant(GVariant* record);
};

} // namespace quilt
