#pragma once

#include "core/config/KTJson.h"
#include "core/services/KTNotificationInfo.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The unread watcher of two well-known mail and chat services: which
// script reads a page of theirs, and what its result does to the badge
// (KTDockBadge), to the page's `dockLabel` and to the desktop (one
// notification per newly seen unread message). The web layer's
// KTUnreadWatcher runs the script on the selected page every kInterval
// seconds and hands the result here.
class KTScriptManager {
public:
    static constexpr double kInterval = 3.0;
    static constexpr const char* kGmailHost = "mail.google.com";
    static constexpr const char* kFacebookHost = "www.facebook.com";
    static constexpr const char* kFacebookBareHost = "facebook.com";
    static const char* const kGoogleScript;
    static const char* const kFacebookScript;

    using Poster = std::function<void(const KTNotificationInfo&)>;

    static KTScriptManager& shared();
    static std::unique_ptr<KTScriptManager> create();

    // The page the pass ran on: its host and its badge text, kept on the page.
    struct Page {
        std::string host;
        std::optional<std::string>& dockLabel;
    };

    // The script for a page of this host (exact, case-sensitive match);
    // nullopt for every other host, whose badge stays as it is.
    static std::optional<std::string> scriptForHost(const std::string& host);

    // A finished pass: the script's result as JSON (string or array), or
    // nullopt when it failed or found nothing, which clears the badge.
    void runDockBadgeResult(const std::optional<KTJson>& result, Page page);
    // The result, once the "DockBadge" default allowed it.
    void setDockBadgeValue(const std::optional<KTJson>& result, Page page);
    // A message text, as the desktop shows it: "N New Messages." for a
    // count, "title,subtitle,skipped,text" for a row of a message list.
    void postNotification(const std::optional<std::string>& text, const Page& page);

    // "UserNotifications" and "DockBadge": absent keys allow.
    static bool shouldPostNotificationsIfPossible();
    static bool shouldUpdateDockBadgeIfPossible();
    // The notification for a message text; the identifier is fresh.
    static KTNotificationInfo notificationFor(const std::string& text, const std::string& host,
                                              std::string identifier);
    // The integer at the start of a text ("12 new" is 12, "x" is 0).
    static long integerValue(const std::optional<std::string>& text);

    const std::vector<std::string>& knownMessages() const { return known_; }
    // Where notifications go (the helper service unless a test says else).
    void setPoster(Poster poster) { poster_ = std::move(poster); }

private:
    KTScriptManager();
    void setBadgeValue(const std::string& text);

    std::vector<std::string> known_;
    Poster poster_;
};

} // namespace quilt
