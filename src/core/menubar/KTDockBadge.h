#pragma once

#include "core/config/KTJson.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace quilt {

// The app's one unread badge, as the dock, the taskbar's window icon and
// the tray show it. Three sources feed it, in this order of precedence:
//   1. a page's navigator.setAppBadge() (the latest page that set one),
//   2. the unread watcher of the mail and chat services (KTScriptManager),
//   3. a leading "(N)" in a page title (the latest page that has one).
// An explicit badge is the site saying what it means; the watcher reads
// the page for two known services; a title count is a convention, so it
// gives way to both.
//
// Every change of the shown text is posted as names::kDockBadgeChanged
// with user info {"text": <text>} ("" when no badge shows).
class KTDockBadge {
public:
    static KTDockBadge& shared();
    static std::unique_ptr<KTDockBadge> create();

    // A badge shown by the flag form of setAppBadge() (no number).
    static constexpr const char* kFlag = "\u2022";

    // The watcher's text; "" and "0" remove its badge.
    void setWatcherText(const std::string& text);
    // A page's setAppBadge (text) or clearAppBadge (nullopt). `page` is any
    // identity that stays the page's for its life.
    void setPageBadge(uintptr_t page, const std::optional<std::string>& text);
    // The count of a page's title, nullopt when it shows none.
    void setTitleCount(uintptr_t page, const std::optional<std::string>& count);
    // A page that closed takes its badges with it.
    void forgetPage(uintptr_t page);
    // Whether a page feeds the badge now (such a tab is not discarded: its
    // count would go with its page).
    bool holdsBadge(uintptr_t page) const { return pageBadges_.count(page) + titleCounts_.count(page) > 0; }

    // What shows now: "" for no badge.
    const std::string& text() const { return shown_; }
    // The number a dock shows for a badge text ("12" and "12+" count 12, the
    // flag and "" count 0).
    static long countOf(const std::string& text);

    // "DockBadge" (default on): pages and titles may set a badge only while
    // it is on. Clearing is always allowed, so a badge never sticks.
    static bool allowedByDefaults();

    // A setAppBadge message of the page script: {"badge": n} (0 clears),
    // {"badge": "flag"}, {"badge": null} (clearAppBadge). The outer optional
    // is empty when the message is not one of these.
    static std::optional<std::optional<std::string>> textOfMessage(const KTJson& body);
    // "(5) Inbox" -> "5", "(99+) Chat" -> "99+"; "(0) ..." and titles
    // without a leading count -> nullopt.
    static std::optional<std::string> countOfTitle(const std::string& title);

private:
    KTDockBadge() = default;
    struct Entry {
        std::string text;
        uint64_t order = 0; // later sets win within a source
    };
    static const Entry* latest(const std::map<uintptr_t, Entry>& entries);
    void set(std::map<uintptr_t, Entry>& entries, uintptr_t page, const std::optional<std::string>& text);
    void update();

    std::map<uintptr_t, Entry> pageBadges_;
    std::map<uintptr_t, Entry> titleCounts_;
    std::string watcher_;
    std::string shown_;
    uint64_t next_ = 1;
};

} // namespace quilt
