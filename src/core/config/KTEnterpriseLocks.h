#pragma once

#include "core/config/KTJson.h"

#include <set>
#include <string>
#include <string_view>

namespace quilt {

// Which settings an enterprise configuration imposes, so the preferences
// show them locked instead of letting a person change what the next start
// would undo. Settings are named by their keys as their files spell them
// ("enableJavaScript" of settings.json, "openLinksKey" of behavior.json,
// "allowAll" of whitelist.json) or by their user-default names
// ("UserNotifications", "lastUserAnget").
class KTEnterpriseLocks {
public:
    // The line a locked row shows under its title.
    static constexpr const char* kReason = "Set by your organization; changes would not last.";
    // Items an enterprise build does not show at all.
    static constexpr const char* kHomePageItem = "main_url";
    static constexpr const char* kAppIconItem = "appIcon";

    // Of the running bundle, read from its configuration now.
    static KTEnterpriseLocks current();
    // What a configuration imposes: nothing unless it is an enterprise one.
    // `dict` is the dictionary its settings come from (KTQuiltManager::settingDict).
    static KTEnterpriseLocks forConfiguration(bool enterpriseBuild, const KTJson& dict);

    bool locked(std::string_view key) const { return locked_.find(key) != locked_.end(); }
    bool hidden(std::string_view item) const { return hidden_.find(item) != hidden_.end(); }
    bool empty() const { return locked_.empty() && hidden_.empty(); }
    const std::set<std::string, std::less<>>& lockedKeys() const { return locked_; }

private:
    std::set<std::string, std::less<>> locked_;
    std::set<std::string, std::less<>> hidden_;
};

} // namespace quilt
