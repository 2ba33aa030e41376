#pragma once

#include "core/config/KTSignal.h"
#include "ui/preferences/KTBuilder.h"

#include <optional>
#include <string>

namespace quilt {

class KTScriptsManager;

// The editor of one rule store (user styles or user scripts): the rules,
// each with an on/off switch, listed as the store sorts them; the selected
// rule's patterns; its text in a monospace view. Every change goes to the
// store and to the open pages (their next document gets it) and to the file
// on every structural change and, for the text, once typing pauses.
class KTRuleEditor {
public:
    explicit KTRuleEditor(KTScriptsManager& store);
    KTRuleEditor(const KTRuleEditor&) = delete;
    KTRuleEditor& operator=(const KTRuleEditor&) = delete;

    GtkWidget* widget() const { return ui_.widget("editor"); }
    // Writes what is still waiting (the text being typed).
    void save();

private:
    void connectSignals();
    void loadRules(const std::optional<std::string>& select);
    void loadRule();
    std::optional<std::string> selectedRule() const;
    std::optional<std::string> selectedPattern() const;
    void addRule();
    void removeRule();
    void addPattern();
    void removePattern();
    void textChanged();
    void saveNow();

    KTScriptsManager& store_;
    KTBuilder ui_;
    GtkListStore* rules_;
    GtkListStore* patterns_;
    GtkTextBuffer* text_;
    bool loading_ = false;
    KTSource pendingSave_;
};

} // namespace quilt
