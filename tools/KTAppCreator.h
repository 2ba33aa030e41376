#pragma once

#include "KTCreateOptions.h"

#include <ostream>
#include <string>
#include <vector>

namespace quilt {

// quilt-create itself: makes an app bundle for a site, lists and removes
// made apps. An app appears whole or not at all: the bundle is built in a
// hidden folder next to its destination and renamed into place, and the
// desktop entry is written last; a failure on the way undoes every step.
class KTAppCreator {
public:
    KTAppCreator(std::ostream& out, std::ostream& err);

    // The whole command line (without the program name); the exit code.
    int run(const std::vector<std::string>& args);

    // Each throws KTCreateFailure. create returns the bundle's path.
    std::string create(const KTCreateOptions& options);
    void list(const KTCreateOptions& options);
    void remove(const KTCreateOptions& options);
    // Prints the site's identity as one JSON object; an unreachable site
    // is not a failure.
    void probe(const KTCreateOptions& options);

    // --template, else $QUILT_TEMPLATE, else DefaultApp.app beside the
    // folder of this program (the build tree), else ../lib/quilt/ from it
    // (an installed prefix), else /usr/lib/quilt/DefaultApp.app.
    static std::string findTemplate(const std::optional<std::string>& option);
    static std::string version();

private:
    void installHelperService();

    std::ostream& out_;
    std::ostream& err_;
};

} // namespace quilt
