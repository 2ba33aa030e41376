#include "KTCreationRequest.h"

#include <sstream>

namespace quilt {

namespace {

std::string trimmed(const std::string& text)
{
    const char* blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

} // namespace

std::string KTCreationRequest::normaliseAddress(const std::string& text)
{
    std::string address = trimmed(text);
    if (address.empty() || address.find("://") != std::string::npos)
        return address;
    return "https://" + address;
}

std::vector<std::string> KTCreationRequest::arguments() const
{
    std::vector<std::string> args = {"--url", normaliseAddress(address)};
    auto add = [&](const char* option, const std::string& value) {
        if (!value.empty()) {
            args.push_back(option);
            args.push_back(value);
        }
    };
    // A name is passed as typed: blanks around it are the tool's to refuse.
    if (!trimmed(name).empty())
        add("--name", name);
    add("--icon", trimmed(iconPath));
    std::string size;
    for (char c : windowSize)
        if (c != ' ')
            size += c;
    add("--window-size", size);
    std::istringstream lines(allowPatterns);
    for (std::string line; std::getline(lines, line);)
        add("--allow", trimmed(line));
    if (menuBarMode)
        args.push_back("--status-bar-option");
    if (!trimmed(userScript).empty()) {
        add("--user-script", trimmed(userScript));
        const std::string pattern = trimmed(scriptPattern);
        add("--script-pattern", pattern.empty() ? "*" : pattern);
    }
    return args;
}

} // namespace quilt
