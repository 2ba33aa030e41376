#pragma once

#include "core/config/KTJson.h"
#include "core/services/KTNotificationInfo.h"

#include <optional>
#include <string>

namespace quilt {

// What a page posts on the "notifications" channel: [title] or
// [title, options], as the page's notification constructor took them.
// Options read are "body" (the message, "" when missing), "tag" (read but
// never passed on: two notifications with one tag are two notifications) and
// "actions" ([{"action", "title"}], the title falling back to the action
// name; an element without "action" is skipped).
//
// A body that is not an array, or that holds a value of the wrong type where
// a string, an options object or an action list belongs, gives nothing: the
// helper would refuse such a record, so it is not sent at all.
class KTNotificationMessage {
public:
    // subTitle: the host of the page that sent it (never taken from the
    // message); identifier: a fresh one per notification.
    static std::optional<KTNotificationInfo> parse(const KTJson& body, const std::optional<std::string>& subTitle,
                                                   const std::string& identifier);

private:
    static bool readOptions(const KTJson& options, KTNotificationInfo& info);
    static bool readActions(const KTJson& actions, std::vector<KTNotificationActionInfo>& out);
    static bool readAction(const KTJson& element, std::vector<KTNotificationActionInfo>& out);
};

} // namespace quilt
