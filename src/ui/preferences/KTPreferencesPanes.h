#pragma once

#include "ui/preferences/KTPreferencesPane.h"

#include <memory>
#include <vector>

namespace quilt {

// The panes of the preferences window, in sidebar order: the one place a
// pane is registered.
class KTPreferencesPanes {
public:
    static std::vector<std::unique_ptr<KTPreferencesPane>> make();
};

} // namespace quilt
