#pragma once

#include "core/menubar/KTShortcutTable.h"
#include "ui/preferences/KTBuilder.h"
#include "ui/preferences/KTPreferencesPane.h"

#include <memory>
#include <optional>

namespace quilt {

// The address shortcuts as a two-column table (word, URL). The table is
// the pane's own until the preferences close: commit() rebuilds the store
// from it (KTShortcutTable) and saves.
class KTShortcutsPane : public KTPreferencesPane {
public:
    const char* name() const override { return "shortcuts"; }
    const char* title() const override { return "Shortcuts"; }
    GtkWidget* widget() override;
    void commit() override;

    // The add and remove buttons, as a click does.
    void addClick();
    void removeClick();

private:
    void build();
    void selectRow(size_t row);
    void edited(const char* path, const char* text, int column);

    std::unique_ptr<KTBuilder> ui_;
    std::unique_ptr<KTShortcutTable> table_;
    GtkListStore* store_ = nullptr;
    GtkTreeView* view_ = nullptr;
};

} // namespace quilt
