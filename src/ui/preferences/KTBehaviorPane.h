#pragma once

#include "ui/preferences/KTPreferencesPane.h"
#include "ui/preferences/KTPreferencesRows.h"

#include <memory>

namespace quilt {

// What pages may do and how they are shown: scripts, pop-ups, plug-ins,
// content blocking, cookies, the user agent, refreshing, font, zoom, and
// where downloads go. Open pages take each change at once.
class KTBehaviorPane : public KTPreferencesPane {
public:
    const char* name() const override { return "behaviour"; }
    const char* title() const override { return "Behaviour & Web"; }
    GtkWidget* widget() override;

private:
    void build();
    std::unique_ptr<KTPreferencesRows> rows_;
};

} // namespace quilt
