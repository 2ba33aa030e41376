#pragma once

#include "core/config/KTRect.h"

#include <optional>

namespace quilt {

// The screen as windows see it.
class KTScreen {
public:
    // The work area (less panels and docks) of the primary monitor, else of
    // the first; nothing without a display or monitor.
    static std::optional<KTRect> mainWorkArea();
};

} // namespace quilt
