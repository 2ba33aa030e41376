#include "core/web/KTScriptManager.h"

#include "core/config/KTLog.h"
#include "core/config/KTShared.h"
#include "core/config/KTUUID.h"
#include "core/config/KTUserDefaults.h"
#include "core/menubar/KTDockBadge.h"
#include "core/services/KTServiceManager.h"

#include <glib.h>

#include <algorithm>
#include <cstdlib>

namespace quilt {

const char* const KTScriptManager::kGoogleScript =
    "function getUnread(){var unreadmessages = document.getElementsByClassName('zA zE'); var myArray=new Array(); "
    "for (var i=0; i < unreadmessages.length ; i++ ){    "
    "myArray.push(unreadmessages[i].getElementsByClassName('afn')[0].innerText);}return myArray;};getUnread();";
const char* const KTScriptManager::kFacebookScript = "document.getElementById(\"mercurymessagesCountValue\").innerText;";

namespace {

void removeAll(std::string& text, const std::string& part)
{
    for (auto at = text.find(part); at != std::string::npos; at = text.find(part))
        text.erase(at, part.size());
}

std::vector<std::string> split(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t at = text.find(separator); at != std::string::npos; at = text.find(separator, start)) {
        parts.push_back(text.substr(start, at - start));
        start = at + 1;
    }
    parts.push_back(text.substr(start));
    return parts;
}

} // namespace

KTScriptManager& KTScriptManager::shared() { return KTShared<KTScriptManager>::get(); }

std::unique_ptr<KTScriptManager> KTScriptManager::create()
{
    return std::unique_ptr<KTScriptManager>(new KTScriptManager());
}

KTScriptManager::KTScriptManager()
    : poster_([](const KTNotificationInfo& info) { KTServiceManager::sharedManager().postNotification(info); })
{
}

std::optional<std::string> KTScriptManager::scriptForHost(const std::string& host)
{
    if (host == kGmailHost)
        return std::string(kGoogleScript);
    if (host == kFacebookHost || host == kFacebookBareHost)
        return std::string(kFacebookScript);
    return std::nullopt;
}

bool KTScriptManager::shouldPostNotificationsIfPossible()
{
    return KTUserDefaults::standardUserDefaults().boolForKeyDefaultValue("UserNotifications", true);
}

bool KTScriptManager::shouldUpdateDockBadgeIfPossible()
{
    return KTUserDefaults::standardUserDefaults().boolForKeyDefaultValue("DockBadge", true);
}

long KTScriptManager::integerValue(const std::optional<std::string>& text)
{
    return text ? std::strtol(text->c_str(), nullptr, 10) : 0;
}

void KTScriptManager::runDockBadgeResult(const std::optional<KTJson>& result, Page page)
{
    if (result && !result->is_null()) {
        if (shouldUpdateDockBadgeIfPossible())
            setDockBadgeValue(result, page);
        return;
    }
    // A failed script (the element is gone, the page changed) clears the
    // badge whatever "DockBadge" says.
    setDockBadgeValue(std::nullopt, page);
}

void KTScriptManager::setBadgeValue(const std::string& text) { KTDockBadge::shared().setWatcherText(text); }

void KTScriptManager::setDockBadgeValue(const std::optional<KTJson>& result, Page page)
{
    if (!result || !result->is_string()) {
        if (result && result->is_array() && !result->empty()) {
            for (const KTJson& element : *result) {
                std::string text = element.is_string() ? element.get<std::string>() : std::string();
                removeAll(text, "selected,");
                removeAll(text, "unread,");
                if (std::find(known_.begin(), known_.end(), text) == known_.end()) {
                    if (shouldPostNotificationsIfPossible())
                        postNotification(text, page);
                    known_.push_back(text);
                }
            }
            std::string count = std::to_string(result->size());
            setBadgeValue(count);
            page.dockLabel = count;
            return;
        }
        setBadgeValue("");
        page.dockLabel.reset();
        // Every message is news again once none was unread in between.
        known_.clear();
        return;
    }
    std::string count = result->get<std::string>();
    setBadgeValue(count);
    if (count != "0" && integerValue(count) > integerValue(page.dockLabel) && shouldPostNotificationsIfPossible())
        postNotification(count, page);
    page.dockLabel = count;
}

KTNotificationInfo KTScriptManager::notificationFor(const std::string& text, const std::string& host,
                                                    std::string identifier)
{
    KTNotificationInfo info;
    auto parts = split(text, ',');
    if (parts.size() < 3) {
        info.title = text + " New Messages.";
        info.message = host;
    } else {
        // Part 2 of a message row is skipped; a row of only three parts
        // has no text.
        info.title = parts[0];
        info.subTitle = parts[1];
        info.message = parts.size() > 3 ? parts[3] : std::string();
    }
    info.identifier = std::move(identifier);
    return info;
}

void KTScriptManager::postNotification(const std::optional<std::string>& text, const Page& page)
{
    if (!text || text == page.dockLabel)
        return;
    if (poster_)
        poster_(notificationFor(*text, page.host, KTUUID::random()));
}

} // namespace quilt
