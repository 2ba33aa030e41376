#include "core/menubar/KTDockBadge.h"

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTShared.h"
#include "core/config/KTUserDefaults.h"

#include <cmath>

namespace quilt {

namespace {

// Pages may claim any number; past this the badge says "99999+" rather
// than grow wider than the icon it sits on.
constexpr double kLargestShown = 99999;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

} // namespace

KTDockBadge& KTDockBadge::shared() { return KTShared<KTDockBadge>::get(); }

std::unique_ptr<KTDockBadge> KTDockBadge::create() { return std::unique_ptr<KTDockBadge>(new KTDockBadge()); }

void KTDockBadge::setWatcherText(const std::string& text)
{
    watcher_ = text == "0" ? std::string() : text;
    update();
}

void KTDockBadge::setPageBadge(uintptr_t page, const std::optional<std::string>& text)
{
    set(pageBadges_, page, text);
}

void KTDockBadge::setTitleCount(uintptr_t page, const std::optional<std::string>& count)
{
    set(titleCounts_, page, count);
}

void KTDockBadge::forgetPage(uintptr_t page)
{
    if (pageBadges_.erase(page) + titleCounts_.erase(page) > 0)
        update();
}

void KTDockBadge::set(std::map<uintptr_t, Entry>& entries, uintptr_t page, const std::optional<std::string>& text)
{
    if (!text || text->empty() || *text == "0") {
        if (entries.erase(page) > 0)
            update();
        return;
    }
    if (!allowedByDefaults())
        return;
    auto found = entries.find(page);
    if (found != entries.end() && found->second.text == *text)
        return; // a title that keeps its count is no news
    entries[page] = Entry{*text, next_++};
    update();
}

const KTDockBadge::Entry* KTDockBadge::latest(const std::map<uintptr_t, Entry>& entries)
{
    const Entry* best = nullptr;
    for (const auto& [page, entry] : entries)
        if (!best || entry.order > best->order)
            best = &entry;
    return best;
}

void KTDockBadge::update()
{
    std::string text;
    if (const Entry* e = latest(pageBadges_))
        text = e->text;
    else if (!watcher_.empty())
        text = watcher_;
    else if (const Entry* t = latest(titleCounts_))
        text = t->text;
    if (text == shown_)
        return;
    shown_ = text;
    KTNotificationCenter::defaultCenter().post(names::kDockBadgeChanged, {}, KTJson{{"text", shown_}});
}

long KTDockBadge::countOf(const std::string& text)
{
    long count = 0;
    for (char c : text) {
        if (!isDigit(c))
            break;
        if (count > 100000000L)
            break;
        count = count * 10 + (c - '0');
    }
    return count;
}

bool KTDockBadge::allowedByDefaults()
{
    return KTUserDefaults::standardUserDefaults().boolForKeyDefaultValue("DockBadge", true);
}

std::optional<std::optional<std::string>> KTDockBadge::textOfMessage(const KTJson& body)
{
    if (!body.is_object() || !body.contains("badge"))
        return std::nullopt;
    const KTJson& badge = body["badge"];
    if (badge.is_null())
        return std::optional<std::string>();
    if (badge.is_string())
        return badge.get<std::string>() == "flag" ? std::optional<std::optional<std::string>>(std::string(kFlag))
                                                   : std::nullopt;
    if (!badge.is_number())
        return std::nullopt;
    double n = badge.get<double>();
    if (!std::isfinite(n) || n < 0)
        return std::nullopt;
    n = std::floor(n);
    if (n == 0)
        return std::optional<std::string>();
    if (n > kLargestShown)
        return std::optional<std::string>("99999+");
    return std::optional<std::string>(std::to_string(static_cast<long>(n)));
}

std::optional<std::string> KTDockBadge::countOfTitle(const std::string& title)
{
    // Mail and chat sites write "(3) Inbox" or "(99+) Inbox": a bracketed
    // number of up to five digits, then a space or the end of the title.
    size_t i = 0;
    while (i < title.size() && title[i] == ' ')
        ++i;
    if (i >= title.size() || title[i] != '(')
        return std::nullopt;
    size_t start = ++i;
    while (i < title.size() && isDigit(title[i]))
        ++i;
    size_t digits = i - start;
    if (digits == 0 || digits > 5)
        return std::nullopt;
    bool plus = i < title.size() && title[i] == '+';
    if (plus)
        ++i;
    if (i >= title.size() || title[i] != ')')
        return std::nullopt;
    ++i;
    if (i < title.size() && title[i] != ' ')
        return std::nullopt;
    std::string count = title.substr(start, digits);
    while (count.size() > 1 && count[0] == '0')
        count.erase(0, 1);
    if (count == "0")
        return std::nullopt;
    return plus ? count + "+" : count;
}

} // namespace quilt
