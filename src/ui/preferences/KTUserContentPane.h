#pragma once

#include "ui/preferences/KTBuilder.h"
#include "ui/preferences/KTPreferencesPane.h"
#include "ui/preferences/KTRuleEditor.h"

#include <memory>

namespace quilt {

// User styles and user scripts, one rule editor each behind a switcher.
// Styles are the person's own; scripts came with the app and may not be
// writable, which the editor says.
class KTUserContentPane : public KTPreferencesPane {
public:
    const char* name() const override { return "user-content"; }
    const char* title() const override { return "Scripts & Styles"; }
    GtkWidget* widget() override;
    void commit() override;

private:
    std::unique_ptr<KTBuilder> ui_;
    std::unique_ptr<KTRuleEditor> styles_, scripts_;
};

} // namespace quilt
