#pragma once

#include <string>

namespace quilt {

// An error handed back to a caller: the program's domain, a code and a
// description meant for the user.
struct KTError {
    std::string domain;
    long code = 0;
    std::string localizedDescription;

    static KTError kiteErrorWithCodeLocalizedDescription(long code, std::string description);
};

} // namespace quilt
