// quilt-create: makes a desktop app bundle for a web site, and lists and
// removes the apps it made. The work is done by KTAppCreator.
#include "KTAppCreator.h"
#include "core/config/KTLog.h"

#include <cstdlib>
#include <iostream>

int main(int argc, char** argv)
{
    // The core's log lines would blur the tool's one-line errors; they are
    // there for debugging only.
    if (!std::getenv("QUILT_DEBUG"))
        quilt::KTLog::setSink([](std::string_view) {});
    quilt::KTAppCreator creator(std::cout, std::cerr);
    return creator.run(std::vector<std::string>(argv + 1, argv + argc));
}
