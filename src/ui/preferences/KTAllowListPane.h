#pragma once

#include "ui/preferences/KTBuilder.h"
#include "ui/preferences/KTPreferencesPane.h"

#include <memory>
#include <string>

namespace quilt {

// The allow-list: which addresses stay in the app (all, only those matching
// a pattern, all but those), the patterns themselves, and a field that says
// where a typed address would go. Every change is saved and handed to the
// web processes at once, so the next link of an open page meets it.
class KTAllowListPane : public KTPreferencesPane {
public:
    const char* name() const override { return "allow-list"; }
    const char* title() const override { return "Allow-list"; }
    GtkWidget* widget() override;

    // What the test field says for a typed text: "Stays in the app",
    // "Opens in your browser", "Opens in another application" or "Not an
    // address".
    static std::string verdictFor(const std::string& typed);

private:
    void build();
    void load();
    void modeChanged();
    void storePatterns();
    void apply();
    void addPattern();
    void removePattern();
    void updateTest();
    void setLocked(bool locked);

    std::unique_ptr<KTBuilder> ui_;
    GtkListStore* store_ = nullptr;
    GtkTreeView* view_ = nullptr;
    GtkCellRenderer* cell_ = nullptr;
    bool loading_ = false;
};

} // namespace quilt
