#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// The command line of quilt-create, parsed and checked for form. Checks that
// need the file system (icon, destination, existing apps) belong to the
// creator; everything here is decided from the arguments alone.
class KTCreateOptions {
public:
    enum class Command { Create, List, Remove, Probe, Help, Version };

    Command command = Command::Create;

    std::string url;                  // as given; KTSiteAddress checks and normalises it
    std::optional<std::string> name;  // app name; defaults to the site's host
    std::optional<std::string> iconPath;
    std::optional<std::string> windowSize; // "WxH", normalised ("1024x768")
    std::optional<int> opacityPercent;     // kMinOpacity..100
    std::vector<std::string> allowPatterns;
    bool allowAll = false;
    bool statusBarOption = false;
    std::optional<std::string> userScriptPath;
    std::optional<std::string> scriptPattern;
    bool enterprise = false;
    std::optional<std::string> dest;
    std::optional<std::string> templatePath;
    bool force = false;
    // Read the site's name, icon, colour, start page and scope (flags win).
    bool siteIdentity = true;
    // The window colour "#rrggbb": the site's theme colour; no flag sets it.
    std::optional<std::string> windowColor;

    std::string removeName; // for --remove
    bool purge = false;

    static const char* const kPercentProblem;
    static constexpr int kMinOpacity = 10;
    static constexpr int kMinWindowSide = 100;
    static constexpr int kMaxWindowSide = 16384;

    // Throws KTCreateFailure (exit code 2) with a one-line reason.
    static KTCreateOptions parse(const std::vector<std::string>& args);
    static std::string usage();

    // "1024x768" for "1024x768" or "1024X768"; nullopt when either side is
    // not a whole number in kMinWindowSide..kMaxWindowSide.
    static std::optional<std::string> normaliseWindowSize(const std::string& text);
    // A name usable as a folder name NAME.app and a desktop entry Name, or
    // the reason it is not.
    static std::optional<std::string> nameProblem(const std::string& name);
};

} // namespace quilt
