#pragma once

#include <glib.h>

#include <optional>
#include <string>

namespace quilt {

// One action button of a notification: an a{sv} with "title" written
// before "identifier" (the page's action name). Absent fields are left out.
struct KTNotificationActionInfo {
    std::optional<std::string> identifier;
    std::optional<std::string> title;

    bool operator==(const KTNotificationActionInfo&) const = default;

    GVariant* toVariant() const; // new, floating
    static std::optional<KTNotificationActionInfo> fromVariant(GVariant* record);
};

} // namespace quilt
