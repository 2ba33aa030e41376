#pragma once

#include "ui/preferences/KTPreferencesPane.h"
#include "ui/preferences/KTPreferencesRows.h"
#include "ui/preferences/KTShortcutRecorder.h"

#include <memory>

namespace quilt {

// Home page, where links from other programs open, what happens at start
// and at the end, and the system-wide hot key that brings the app forward.
class KTGeneralPane : public KTPreferencesPane {
public:
    const char* name() const override { return "general"; }
    const char* title() const override { return "General"; }
    GtkWidget* widget() override;

private:
    void build();
    std::unique_ptr<KTPreferencesRows> rows_;
    std::unique_ptr<KTShortcutRecorder> hotKey_;
};

} // namespace quilt
