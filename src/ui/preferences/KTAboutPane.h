#pragma once

#include "ui/preferences/KTPreferencesPane.h"
#include "ui/preferences/KTPreferencesRows.h"

#include <memory>

namespace quilt {

// Which app this is, from which template, and where it keeps its files.
class KTAboutPane : public KTPreferencesPane {
public:
    const char* name() const override { return "about"; }
    const char* title() const override { return "About"; }
    GtkWidget* widget() override;

private:
    void build();
    std::unique_ptr<KTPreferencesRows> rows_;
};

} // namespace quilt
