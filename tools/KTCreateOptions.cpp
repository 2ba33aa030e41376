#include "KTCreateOptions.h"

#include "KTCreateFailure.h"

#include <charconv>
#include <glib.h>

namespace quilt {

namespace {

enum class Arity { Flag, Value };

struct OptionInfo {
    const char* name;
    Arity arity;
};

constexpr OptionInfo kOptions[] = {
    {"--url", Arity::Value},         {"--name", Arity::Value},          {"--icon", Arity::Value},
    {"--window-size", Arity::Value}, {"--opacity", Arity::Value},       {"--allow", Arity::Value},
    {"--allow-all", Arity::Flag},    {"--status-bar-option", Arity::Flag},
    {"--user-script", Arity::Value}, {"--script-pattern", Arity::Value}, {"--enterprise", Arity::Flag},
    {"--dest", Arity::Value},        {"--template", Arity::Value},      {"--force", Arity::Flag},
    {"--list", Arity::Flag},         {"--remove", Arity::Value},        {"--purge", Arity::Flag},
    {"--help", Arity::Flag},         {"--version", Arity::Flag},        {"--probe", Arity::Value},
    {"--no-site-identity", Arity::Flag},
};

const OptionInfo* findOption(const std::string& name)
{
    for (const auto& o : kOptions)
        if (name == o.name)
            return &o;
    return nullptr;
}

[[noreturn]] void refuse(const std::string& message) { throw KTCreateFailure::badInput(message); }

std::optional<int> wholeNumber(const std::string& text)
{
    int value = 0;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, value);
    if (text.empty() || ec != std::errc() || ptr != end)
        return std::nullopt;
    return value;
}

void setOnce(std::optional<std::string>& slot, const std::string& option, const std::string& value)
{
    if (slot)
        refuse(option + " given twice");
    slot = value;
}

} // namespace

std::optional<std::string> KTCreateOptions::normaliseWindowSize(const std::string& text)
{
    auto x = text.find_first_of("xX");
    if (x == std::string::npos)
        return std::nullopt;
    auto w = wholeNumber(text.substr(0, x));
    auto h = wholeNumber(text.substr(x + 1));
    auto ok = [](const std::optional<int>& v) { return v && *v >= kMinWindowSide && *v <= kMaxWindowSide; };
    if (!ok(w) || !ok(h))
        return std::nullopt;
    return std::to_string(*w) + "x" + std::to_string(*h);
}

// Launchers expand "%%" in Exec lines, but GLib checks the program's path
// before that and would hide the app; a "%" in the path cannot be written.
const char* const KTCreateOptions::kPercentProblem
    = "the app's path may not contain \"%\" (desktop launchers could not start it)";

std::optional<std::string> KTCreateOptions::nameProblem(const std::string& name)
{
    if (name.empty())
        return "the app name is empty";
    if (!g_utf8_validate(name.data(), static_cast<gssize>(name.size()), nullptr))
        return "the app name is not valid UTF-8";
    if (name.size() > 200)
        return "the app name is longer than 200 bytes";
    if (name.find('/') != std::string::npos)
        return "the app name may not contain \"/\"";
    if (name.find('%') != std::string::npos)
        return kPercentProblem;
    if (name.front() == '.')
        return "the app name may not start with \".\"";
    if (name.front() == ' ' || name.back() == ' ')
        return "the app name may not start or end with a blank";
    for (unsigned char c : name)
        if (c < 0x20 || c == 0x7f)
            return "the app name may not contain control characters";
    return std::nullopt;
}

KTCreateOptions KTCreateOptions::parse(const std::vector<std::string>& args)
{
    KTCreateOptions o;
    std::optional<std::string> url, windowSize, opacity, removeName, probeUrl;
    int commands = 0;
    for (size_t i = 0; i < args.size(); ++i) {
        std::string arg = args[i];
        std::optional<std::string> inlineValue;
        if (auto eq = arg.find('='); arg.rfind("--", 0) == 0 && eq != std::string::npos) {
            inlineValue = arg.substr(eq + 1);
            arg.resize(eq);
        }
        const OptionInfo* option = findOption(arg);
        if (!option) {
            if (arg.rfind("-", 0) == 0 && arg.size() > 1)
                refuse("unknown option " + arg + " (see --help)");
            refuse("unexpected argument \"" + arg + "\" (see --help)");
        }
        std::string value;
        if (option->arity == Arity::Value) {
            if (inlineValue)
                value = *inlineValue;
            else if (i + 1 < args.size())
                value = args[++i];
            else
                refuse(arg + " needs a value");
        } else if (inlineValue) {
            refuse(arg + " takes no value");
        }

        if (arg == "--url")
            setOnce(url, arg, value);
        else if (arg == "--name")
            setOnce(o.name, arg, value);
        else if (arg == "--icon")
            setOnce(o.iconPath, arg, value);
        else if (arg == "--window-size")
            setOnce(windowSize, arg, value);
        else if (arg == "--opacity")
            setOnce(opacity, arg, value);
        else if (arg == "--allow") {
            if (value.empty())
                refuse("--allow needs a non-empty pattern");
            o.allowPatterns.push_back(value);
        } else if (arg == "--allow-all")
            o.allowAll = true;
        else if (arg == "--status-bar-option")
            o.statusBarOption = true;
        else if (arg == "--user-script")
            setOnce(o.userScriptPath, arg, value);
        else if (arg == "--script-pattern")
            setOnce(o.scriptPattern, arg, value);
        else if (arg == "--enterprise")
            o.enterprise = true;
        else if (arg == "--dest")
            setOnce(o.dest, arg, value);
        else if (arg == "--template")
            setOnce(o.templatePath, arg, value);
        else if (arg == "--force")
            o.force = true;
        else if (arg == "--purge")
            o.purge = true;
        else if (arg == "--no-site-identity")
            o.siteIdentity = false;
        else if (arg == "--probe") {
            setOnce(probeUrl, arg, value);
            o.command = Command::Probe;
            ++commands;
        }
        else if (arg == "--list") {
            o.command = Command::List;
            ++commands;
        } else if (arg == "--remove") {
            setOnce(removeName, arg, value);
            o.command = Command::Remove;
            ++commands;
        } else if (arg == "--help") {
            // Help wins over everything else, as users expect.
            o.command = Command::Help;
            return o;
        } else if (arg == "--version") {
            o.command = Command::Version;
            ++commands;
        }
    }
    if (commands > 1)
        refuse("--list, --remove, --probe and --version cannot be combined");

    switch (o.command) {
    case Command::List:
    case Command::Version:
        if (url)
            refuse("--url cannot be combined with --list or --version");
        return o;
    case Command::Remove:
        if (url)
            refuse("--url cannot be combined with --remove");
        if (removeName->empty())
            refuse("--remove needs an app name");
        o.removeName = *removeName;
        return o;
    case Command::Probe:
        if (url || args.size() > 2 || probeUrl->empty())
            refuse("--probe takes an address and nothing else");
        o.url = *probeUrl;
        return o;
    case Command::Help:
    case Command::Create:
        break;
    }

    if (o.purge)
        refuse("--purge only goes with --remove");
    if (!url || url->empty())
        refuse("no URL given: use --url URL (see --help)");
    o.url = *url;
    if (o.name)
        if (auto problem = nameProblem(*o.name))
            refuse(*problem);
    if (windowSize) {
        o.windowSize = normaliseWindowSize(*windowSize);
        if (!o.windowSize)
            refuse("bad --window-size \"" + *windowSize + "\": expected WIDTHxHEIGHT, each "
                   + std::to_string(kMinWindowSide) + " to " + std::to_string(kMaxWindowSide));
    }
    if (opacity) {
        auto n = wholeNumber(*opacity);
        if (!n || *n < kMinOpacity || *n > 100)
            refuse("bad --opacity \"" + *opacity + "\": expected a whole percentage from "
                   + std::to_string(kMinOpacity) + " to 100");
        o.opacityPercent = *n;
        // Enterprise apps read the opacity as a whole number at every start,
        // so any fraction would become 0: a window nobody can see.
        if (o.enterprise && *n != 100)
            refuse("--opacity below 100 cannot be used with --enterprise (enterprise apps read the opacity as a "
                   "whole number)");
    }
    if (o.allowAll && !o.allowPatterns.empty())
        refuse("--allow-all and --allow cannot be combined");
    if (o.userScriptPath.has_value() != o.scriptPattern.has_value())
        refuse("--user-script and --script-pattern go together");
    if (o.scriptPattern && o.scriptPattern->empty())
        refuse("--script-pattern needs a non-empty pattern");
    if (o.dest && o.dest->empty())
        refuse("--dest needs a folder");
    return o;
}

std::string KTCreateOptions::usage()
{
    return R"(Usage:
  quilt-create --url URL [options]   make an app for the site at URL
  quilt-create --list                list the apps made by quilt-create
  quilt-create --remove NAME [--purge] [--dest DIR]
                                     remove an app (--purge: its data too)
  quilt-create --probe URL           print what the site says about itself
                                     as one JSON object
  quilt-create --window              open the creation window (also what
                                     quilt-create alone does on a desktop)
  quilt-create --help | --version

Options for making an app:
  --url URL              the site's home page (http or https)
  --name NAME            the app's name (default: the site's own name, else
                         its host)
  --icon IMAGE           the app's icon, any image format the system reads
                         (default: the site's own icon, else a generated icon
                         with the site's initial)
  --no-site-identity     do not read the site: no name, icon, colour, start
                         page or scope from its page or web app manifest
  --window-size WxH      the default window size, e.g. 1280x800
  --opacity N            window opacity in percent, 10 to 100
  --allow PATTERN        keep addresses matching PATTERN in the app; repeat for
                         more (default: the scope of the site's web app
                         manifest, else the site's domain and its subdomains)
  --allow-all            keep every address in the app
  --status-bar-option    offer the menu-bar mode
  --user-script FILE --script-pattern PATTERN
                         inject the script FILE into pages matching PATTERN
  --enterprise           make an enterprise app whose settings are imposed at
                         every start
  --dest DIR             where to put NAME.app (default:
                         $XDG_DATA_HOME/quilt/apps)
  --template DIR         the template bundle DefaultApp.app to copy
                         (default: $QUILT_TEMPLATE, then next to this tool,
                         then ../lib/quilt/DefaultApp.app from this tool's
                         folder, then /usr/lib/quilt/DefaultApp.app)
  --force                replace an existing app of the same name, keeping its
                         data and any data files changed since it was made

Patterns are split at "*"; each piece must occur in the address, in order.
Exit status: 0 done, 1 failure while writing, 2 bad arguments or input,
3 an app of that name exists (its bundle is printed; --force replaces it).
)";
}

} // namespace quilt
