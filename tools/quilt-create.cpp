// quilt-create: makes a desktop app bundle for a site, and lists and
// removes the apps it made. The work is done by KTAppCreator. Started from a
// desktop (or with --window) it hands over to the creation window, a
// program of its own so that this one stays free of GTK.
#include "KTAppCreator.h"
#include "core/config/KTLog.h"

#include <cstdlib>
#include <iostream>
#include <string>
#include <unistd.h>

namespace {

bool onADesktop()
{
    auto set = [](const char* name) {
        const char* value = std::getenv(name);
        return value && *value;
    };
    return !::isatty(STDIN_FILENO) && (set("DISPLAY") || set("WAYLAND_DISPLAY"));
}

std::string ownPath()
{
    char buf[4096];
    const ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : std::string();
}

// Beside this program in the build tree, in libexec/quilt of a prefix.
int openWindow()
{
    const std::string self = ownPath();
    const std::string folder = self.substr(0, self.rfind('/'));
    ::setenv("QUILT_CREATE", self.c_str(), 0);
    for (const std::string& window : {folder + "/quilt-create-window", folder + "/../libexec/quilt/quilt-create-window"})
        if (::access(window.c_str(), X_OK) == 0) {
            ::execl(window.c_str(), window.c_str(), static_cast<char*>(nullptr));
            std::cerr << "quilt-create: cannot start the creation window " << window << std::endl;
            return 1;
        }
    std::cerr << "quilt-create: the creation window is not installed; use quilt-create --url URL (see --help)"
              << std::endl;
    return 1;
}

} // namespace

int main(int argc, char** argv)
{
    const std::vector<std::string> args(argv + 1, argv + argc);
    if ((args.empty() && onADesktop()) || args == std::vector<std::string>{"--window"})
        return openWindow();
    for (const auto& arg : args)
        if (arg == "--window") {
            std::cerr << "quilt-create: --window takes no other arguments" << std::endl;
            return 2;
        }
    // The core's log lines would blur the tool's one-line errors; they are
    // there for debugging only.
    if (!std::getenv("QUILT_DEBUG"))
        quilt::KTLog::setSink([](std::string_view) {});
    quilt::KTAppCreator creator(std::cout, std::cerr);
    return creator.run(args);
}
