#pragma once

#include "core/config/KTRect.h"

#include <optional>
#include <string>

namespace quilt {

// Where a window goes when it is restored for a saved record ("window0",
// ...): a pure decision over the stores' values, carried out by the app.
class KTWindowRestorer {
public:
    struct Inputs {
        bool enterpriseBuild = false;
        bool mobileVersion = false;
        bool windowAllSpace = false;
        bool creationToolBuild = false;
        KTSize creationToolSize;
        KTRect screen;                       // the main screen's frame
        std::optional<std::string> key;      // the record's key, if any
        std::optional<std::string> frame;    // its stored frame string
    };
    struct Placement {
        KTRect frame;
        bool center = false;
    };

    // nullopt: leave the window as it is (enterprise builds).
    static std::optional<Placement> placementForKey(const Inputs& in);
    // The phone-sized frame used with the mobile version.
    static constexpr double kPhoneWidth = 320, kPhoneHeight = 400;
};

} // namespace quilt
