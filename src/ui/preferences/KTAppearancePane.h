#pragma once

#include "ui/preferences/KTPreferencesPane.h"
#include "ui/preferences/KTPreferencesRows.h"

#include <memory>

namespace quilt {

// How the windows look: colour, light or dark, opacity, what the title bar
// and the tool and tab bars show. Changes reach every open window at once.
class KTAppearancePane : public KTPreferencesPane {
public:
    const char* name() const override { return "appearance"; }
    const char* title() const override { return "Appearance"; }
    GtkWidget* widget() override;

private:
    void build();
    std::unique_ptr<KTPreferencesRows> rows_;
};

} // namespace quilt
