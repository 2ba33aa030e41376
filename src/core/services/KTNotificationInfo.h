#pragma once

#include "core/services/KTNotificationActionInfo.h"

#include <glib.h>

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// One notification to show: an a{sv} with "title", "subTitle" (capital T:
// the helper decodes by exactly that key), "message", "identifier" and
// "actions" (aa{sv} of KTNotificationActionInfo), written in that order.
// Absent fields are left out. A record with more than kMaxActions actions,
// or with one action that is refused, is refused as a whole.
struct KTNotificationInfo {
    static constexpr size_t kMaxActions = 32;

    std::optional<std::string> title;
    std::optional<std::string> subTitle;
    std::optional<std::string> message;
    std::optional<std::string> identifier;
    std::optional<std::vector<KTNotificationActionInfo>> actions;

    bool operator==(const KTNotificationInfo&) const = default;

    GVariant* toVariant() const; // new, floating
    static std::optional<KTNotificationInfo> fromVariant(GVariant* record);
};

} // namespace quilt
