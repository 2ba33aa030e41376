#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace quilt {

class KTUserDefaults;

// The numbers the agent strings are built from.
struct KTAgentVersions {
    // The OS part claims the frozen version WebKit's own agents claim.
    long osMajor = 10;
    long osMinor = 15;
    long osPatch = 7;
    // A missing version prints as "(null)", as a null object prints.
    std::optional<std::string> safariVersion;
    std::optional<std::string> webkitVersion;
};

// The five named user agents the user can choose from, built once per
// process. KTWebManager owns one table; pages set its strings as their
// custom user agent, which replaces the engine's whole string.
class KTUserAgents {
public:
    static constexpr const char* kSafariMac = "Safari-Mac";
    static constexpr const char* kFirefoxMac = "Firefox-Mac";
    static constexpr const char* kChromeMac = "Chrome-Mac";
    static constexpr const char* kIPhone = "iPhone";
    static constexpr const char* kIPad = "iPad";
    // The names in table (and menu) order.
    static constexpr std::array<const char*, 5> kNames{kSafariMac, kFirefoxMac, kChromeMac, kIPhone, kIPad};
    // The user default naming the agent chosen last (spelled so on purpose).
    static constexpr const char* kLastUserAgentKey = "lastUserAnget";

    using Table = std::vector<std::pair<std::string, std::string>>;

    // generateUserAgents: the five strings from explicit numbers.
    explicit KTUserAgents(const KTAgentVersions& versions);
    // The table for the running WebKitGTK (the glue passes
    // webkit_get_major_version() and friends).
    static KTUserAgents forWebKitGTK(unsigned major, unsigned minor, unsigned micro);

    // The Safari-style and engine versions that WebKitGTK's own default agent
    // carries, so that a page sees the same numbers whichever agent it gets:
    //  - engine: "605.1.15", frozen in every WebKitGTK release;
    //  - Safari: "60.5" from WebKitGTK 2.47.3 on (the engine's own
    //    "Version/60.5"), "17.0" before, the last real Safari version the
    //    older releases claimed.
    static std::string getSafariVersion(unsigned major, unsigned minor, unsigned micro);
    static std::string getWebkitVerion(unsigned major, unsigned minor, unsigned micro);

    // Names and strings in table order.
    const Table& userAgents() const { return agents_; }
    void setUserAgents(Table agents) { agents_ = std::move(agents); }
    std::vector<std::string> names() const;
    const std::string& webkitVersion() const { return webkitVersion_; }
    // The string of a named agent; nullopt for a name not in the table.
    std::optional<std::string> agentNamed(std::string_view name) const;

    // The agent name a new page starts with: "iPhone" with the behaviour
    // mobileVersion on, otherwise the stored choice, "Safari-Mac" when it
    // is empty or missing.
    static std::string agentNameForNewPage(bool mobileVersion, const std::optional<std::string>& lastUserAnget);
    static std::string agentNameForNewPage(bool mobileVersion, const KTUserDefaults& defaults);
    // The custom agent of a new page; nullopt when the stored name is not in
    // the table, so the page keeps the engine's default agent.
    std::optional<std::string> agentForNewPage(bool mobileVersion, const KTUserDefaults& defaults) const;
    // The user-agent menu's choice: remembered for later pages and runs.
    static void setLastUserAgent(KTUserDefaults& defaults, const std::string& name);

private:
    Table agents_;
    std::string webkitVersion_;
};

} // namespace quilt
