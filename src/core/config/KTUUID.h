#pragma once

#include <string>

namespace quilt {

// Random (version 4) UUIDs as text, "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx":
// identifiers that must not repeat across processes and runs.
class KTUUID {
public:
    static std::string random();
};

} // namespace quilt
