#include "core/web/KTUserAgents.h"

#include "core/config/KTUserDefaults.h"

#include <tuple>

namespace quilt {

namespace {

std::string orNull(const std::optional<std::string>& v)
{
    return v ? *v : "(null)";
}

} // namespace

KTUserAgents::KTUserAgents(const KTAgentVersions& v)
    : webkitVersion_(orNull(v.webkitVersion))
{
    const std::string os = std::to_string(v.osMajor) + "_" + std::to_string(v.osMinor) + "_" + std::to_string(v.osPatch);
    const std::string& engine = webkitVersion_;
    const std::string safari = orNull(v.safariVersion);
    agents_ = {
        {kSafariMac, "Mozilla/5.0 (Macintosh; Intel Mac OS X " + os + ") AppleWebKit/" + engine
                         + " (KHTML, like Gecko) Version/" + safari + " Safari/" + engine},
        {kFirefoxMac, "Mozilla/5.0 (Macintosh; Intel Mac OS X " + std::to_string(v.osMajor) + "."
                          + std::to_string(v.osMinor) + "; rv:83.0) Gecko/20100101 Firefox/83.0"},
        {kChromeMac, "Mozilla/5.0 (Macintosh; Intel Mac OS X " + os + ") AppleWebKit/" + engine
                         + " (KHTML, like Gecko) Chrome/87.0.4280.88 Safari/" + engine},
        {kIPhone, "Mozilla/5.0 (iPhone; CPU iPhone OS 14_2 like Mac OS X) AppleWebKit/" + engine
                      + " (KHTML, like Gecko) Version/10.0 Mobile/14E8301 Safari/" + engine},
        {kIPad, "Mozilla/5.0 (iPad; CPU OS 14_2 like Mac OS X) AppleWebKit/" + engine
                    + " (KHTML, like Gecko) Version/10.0 Mobile/14E8301 Safari/" + engine},
    };
}

KTUserAgents KTUserAgents::forWebKitGTK(unsigned major, unsigned minor, unsigned micro)
{
    KTAgentVersions v;
    v.safariVersion = getSafariVersion(major, minor, micro);
    v.webkitVersion = getWebkitVerion(major, minor, micro);
    return KTUserAgents(v);
}

std::string KTUserAgents::getSafariVersion(unsigned major, unsigned minor, unsigned micro)
{
    if (std::tie(major, minor, micro) >= std::make_tuple(2u, 47u, 3u))
        return "60.5";
    return "17.0";
}

std::string KTUserAgents::getWebkitVerion(unsigned, unsigned, unsigned)
{
    return "605.1.15";
}

std::vector<std::string> KTUserAgents::names() const
{
    std::vector<std::string> out;
    for (const auto& [name, agent] : agents_)
        out.push_back(name);
    return out;
}

std::optional<std::string> KTUserAgents::agentNamed(std::string_view name) const
{
    for (const auto& [n, agent] : agents_)
        if (n == name)
            return agent;
    return std::nullopt;
}

std::string KTUserAgents::agentNameForNewPage(bool mobileVersion, const std::optional<std::string>& lastUserAnget)
{
    if (mobileVersion)
        return kIPhone;
    if (!lastUserAnget || lastUserAnget->empty())
        return kSafariMac;
    return *lastUserAnget;
}

std::string KTUserAgents::agentNameForNewPage(bool mobileVersion, const KTUserDefaults& defaults)
{
    return agentNameForNewPage(mobileVersion, defaults.stringForKey(kLastUserAgentKey));
}

std::optional<std::string> KTUserAgents::agentForNewPage(bool mobileVersion, const KTUserDefaults& defaults) const
{
    return agentNamed(agentNameForNewPage(mobileVersion, defaults));
}

void KTUserAgents::setLastUserAgent(KTUserDefaults& defaults, const std::string& name)
{
    defaults.setString(kLastUserAgentKey, name);
    defaults.synchronize();
}

} // namespace quilt
