#pragma once

#include <string>
#include <vector>

namespace quilt {

// The creation window's form as plain values, turned into the arguments of
// quilt-create: the window makes apps through the command line, so both
// check and build an app the same way.
struct KTCreationRequest {
    std::string address;
    std::string name;          // empty: the tool names the app after the host
    std::string iconPath;      // empty: the tool makes a letter icon
    std::string windowSize;    // "1280x800", "1280 x 800"; empty: the default
    std::string allowPatterns; // one pattern a line; empty: the site's domain
    bool menuBarMode = false;
    std::string userScript;    // a file; empty: none
    std::string scriptPattern; // empty with a script: every page

    // What people type into an address field: a bare "example.org" means
    // the https site; anything with a scheme is left for the tool to judge.
    static std::string normaliseAddress(const std::string& text);

    // Everything after the program's name. Values are passed as they are,
    // apart from surrounding blanks: the tool refuses what it cannot use,
    // with a line the window shows.
    std::vector<std::string> arguments() const;
};

} // namespace quilt
