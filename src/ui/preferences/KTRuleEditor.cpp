#include "ui/preferences/KTRuleEditor.h"

#include "core/web/KTScriptsManager.h"
#include "ui/windows/KTMainWindowController.h"
#include "ui/windows/KTTabViewController.h"
#include "web/KTWebViewController.h"

#include <algorithm>
#include <vector>

namespace quilt {

namespace {

constexpr guint kTextSaveDelayMs = 500;

std::optional<std::string> selectedText(GtkTreeView* view, int column)
{
    GtkTreeModel* model = nullptr;
    GtkTreeIter it;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(view), &model, &it))
        return std::nullopt;
    gchar* text = nullptr;
    gtk_tree_model_get(model, &it, column, &text, -1);
    std::optional<std::string> out;
    if (text)
        out = text;
    g_free(text);
    return out;
}

std::string textAt(GtkListStore* store, const char* path)
{
    GtkTreeIter it;
    gchar* text = nullptr;
    if (gtk_tree_model_get_iter_from_string(GTK_TREE_MODEL(store), &it, path))
        gtk_tree_model_get(GTK_TREE_MODEL(store), &it, 1, &text, -1);
    std::string out = text ? text : "";
    g_free(text);
    return out;
}

void selectRow(GtkTreeView* view, GtkListStore* store, const std::string& name, bool edit)
{
    GtkTreeIter it;
    for (gboolean ok = gtk_tree_model_get_iter_first(GTK_TREE_MODEL(store), &it); ok;
         ok = gtk_tree_model_iter_next(GTK_TREE_MODEL(store), &it)) {
        gchar* text = nullptr;
        gtk_tree_model_get(GTK_TREE_MODEL(store), &it, 1, &text, -1);
        const bool found = text && name == text;
        g_free(text);
        if (!found)
            continue;
        GtkTreePath* path = gtk_tree_model_get_path(GTK_TREE_MODEL(store), &it);
        if (edit)
            gtk_widget_grab_focus(GTK_WIDGET(view));
        gtk_tree_view_set_cursor(view, path, gtk_tree_view_get_column(view, 1), edit);
        gtk_tree_path_free(path);
        return;
    }
}

// A toggle column (state) and an editable text column (name).
void addColumns(GtkTreeView* view, const char* title, GCallback toggled, GCallback edited, gpointer self)
{
    GtkCellRenderer* toggle = gtk_cell_renderer_toggle_new();
    g_signal_connect(toggle, "toggled", toggled, self);
    gtk_tree_view_insert_column_with_attributes(view, -1, "On", toggle, "active", 0, nullptr);
    GtkCellRenderer* text = gtk_cell_renderer_text_new();
    g_object_set(text, "editable", TRUE, nullptr);
    g_signal_connect(text, "edited", edited, self);
    gtk_tree_view_insert_column_with_attributes(view, -1, title, text, "text", 1, nullptr);
}

// "Rule 3" for row 3, or the next free number when that name is taken.
std::string freeName(const char* format, size_t row, const std::vector<std::string>& taken)
{
    for (size_t n = row;; ++n) {
        gchar* name = g_strdup_printf(format, static_cast<long>(n));
        std::string out = name;
        g_free(name);
        if (std::find(taken.begin(), taken.end(), out) == taken.end())
            return out;
    }
}

} // namespace

KTRuleEditor::KTRuleEditor(KTScriptsManager& store)
    : store_(store)
    , ui_("/org/quilt/ui/preferences/rule-editor.ui")
    , rules_(GTK_LIST_STORE(ui_.object("rule-store")))
    , patterns_(GTK_LIST_STORE(ui_.object("pattern-store")))
    , text_(GTK_TEXT_BUFFER(ui_.object("text")))
{
    connectSignals();
    loadRules(std::nullopt);
}

void KTRuleEditor::connectSignals()
{
    addColumns(GTK_TREE_VIEW(ui_.widget("rules")), "Rule",
               G_CALLBACK(+[](GtkCellRendererToggle*, char* path, KTRuleEditor* self) {
                   const std::string rule = textAt(self->rules_, path);
                   self->store_.setStateForRule(self->store_.getRuleState(rule) ? 0 : 1, rule);
                   self->saveNow();
                   self->loadRules(rule);
               }),
               G_CALLBACK(+[](GtkCellRendererText*, char* path, char* text, KTRuleEditor* self) {
                   const std::string old = textAt(self->rules_, path);
                   const std::string name = text;
                   if (name.empty() || name == old || self->store_.findRule(name))
                       return;
                   self->store_.renameRuleToName(old, name);
                   self->saveNow();
                   self->loadRules(name);
               }),
               this);
    addColumns(GTK_TREE_VIEW(ui_.widget("patterns")), "Pattern",
               G_CALLBACK(+[](GtkCellRendererToggle*, char* path, KTRuleEditor* self) {
                   auto rule = self->selectedRule();
                   if (!rule)
                       return;
                   const std::string pattern = textAt(self->patterns_, path);
                   self->store_.setStateForRuleForPattern(
                       self->store_.getPatternStateForRulule(pattern, *rule) ? 0 : 1, *rule, pattern);
                   self->saveNow();
                   self->loadRule();
               }),
               G_CALLBACK(+[](GtkCellRendererText*, char* path, char* text, KTRuleEditor* self) {
                   auto rule = self->selectedRule();
                   const std::string old = textAt(self->patterns_, path);
                   if (!rule || old == text || !*text)
                       return;
                   self->store_.renamePatternToNameForRule(old, text, *rule);
                   self->saveNow();
                   self->loadRule();
               }),
               this);
    g_signal_connect_swapped(gtk_tree_view_get_selection(GTK_TREE_VIEW(ui_.widget("rules"))), "changed",
                             G_CALLBACK(+[](KTRuleEditor* self) {
                                 if (!self->loading_)
                                     self->loadRule();
                             }),
                             this);
    g_signal_connect_swapped(ui_.widget("add-rule"), "clicked", G_CALLBACK(+[](KTRuleEditor* s) { s->addRule(); }),
                             this);
    g_signal_connect_swapped(ui_.widget("remove-rule"), "clicked",
                             G_CALLBACK(+[](KTRuleEditor* s) { s->removeRule(); }), this);
    g_signal_connect_swapped(ui_.widget("add-pattern"), "clicked",
                             G_CALLBACK(+[](KTRuleEditor* s) { s->addPattern(); }), this);
    g_signal_connect_swapped(ui_.widget("remove-pattern"), "clicked",
                             G_CALLBACK(+[](KTRuleEditor* s) { s->removePattern(); }), this);
    g_signal_connect_swapped(text_, "changed", G_CALLBACK(+[](KTRuleEditor* s) { s->textChanged(); }), this);
}

std::optional<std::string> KTRuleEditor::selectedRule() const
{
    return selectedText(GTK_TREE_VIEW(ui_.widget("rules")), 1);
}

std::optional<std::string> KTRuleEditor::selectedPattern() const
{
    return selectedText(GTK_TREE_VIEW(ui_.widget("patterns")), 1);
}

void KTRuleEditor::loadRules(const std::optional<std::string>& select)
{
    loading_ = true;
    gtk_list_store_clear(rules_);
    for (const auto& name : store_.rulesArray())
        gtk_list_store_insert_with_values(rules_, nullptr, -1, 0, store_.getRuleState(name) != 0, 1, name.c_str(),
                                          -1);
    loading_ = false;
    if (select)
        selectRow(GTK_TREE_VIEW(ui_.widget("rules")), rules_, *select, false);
    else {
        GtkTreeIter first;
        if (gtk_tree_model_get_iter_first(GTK_TREE_MODEL(rules_), &first))
            gtk_tree_selection_select_iter(gtk_tree_view_get_selection(GTK_TREE_VIEW(ui_.widget("rules"))), &first);
    }
    loadRule();
}

void KTRuleEditor::loadRule()
{
    auto rule = selectedRule();
    loading_ = true;
    gtk_list_store_clear(patterns_);
    if (rule)
        for (const auto& p : store_.patternsNamesForRule(*rule).value_or(std::vector<std::string>{}))
            gtk_list_store_insert_with_values(patterns_, nullptr, -1, 0,
                                              store_.getPatternStateForRulule(p, *rule) != 0, 1, p.c_str(), -1);
    const std::string text = rule ? store_.scriptForRule(*rule).value_or("") : "";
    gtk_text_buffer_set_text(text_, text.c_str(), -1);
    loading_ = false;
    gtk_widget_set_sensitive(ui_.widget("rule-detail"), rule.has_value());
}

void KTRuleEditor::addRule()
{
    const auto names = store_.rulesArray();
    const std::string name = freeName("Rule %ld", names.size(), names);
    store_.addRuleState(name, 1);
    saveNow();
    loadRules(name);
    selectRow(GTK_TREE_VIEW(ui_.widget("rules")), rules_, name, true);
}

void KTRuleEditor::removeRule()
{
    if (auto rule = selectedRule()) {
        store_.removeRule(*rule);
        saveNow();
        loadRules(std::nullopt);
    }
}

void KTRuleEditor::addPattern()
{
    auto rule = selectedRule();
    if (!rule)
        return;
    const auto names = store_.patternsNamesForRule(*rule).value_or(std::vector<std::string>{});
    const std::string pattern = freeName("*domain_%ld*", names.size(), names);
    store_.addPatternForRuleState(pattern, *rule, 1);
    saveNow();
    loadRule();
    selectRow(GTK_TREE_VIEW(ui_.widget("patterns")), patterns_, pattern, true);
}

void KTRuleEditor::removePattern()
{
    auto rule = selectedRule();
    auto pattern = selectedPattern();
    if (rule && pattern) {
        store_.removePatternFromRule(*pattern, *rule);
        saveNow();
        loadRule();
    }
}

void KTRuleEditor::textChanged()
{
    auto rule = selectedRule();
    if (loading_ || !rule)
        return;
    GtkTextIter start, end;
    gtk_text_buffer_get_bounds(text_, &start, &end);
    gchar* text = gtk_text_buffer_get_text(text_, &start, &end, FALSE);
    store_.addScriptForRule(text, *rule);
    g_free(text);
    // The store has it now; the file follows once typing pauses.
    pendingSave_ = KTSource(g_timeout_add(kTextSaveDelayMs, +[](gpointer self) -> gboolean {
        auto* editor = static_cast<KTRuleEditor*>(self);
        editor->pendingSave_.forget();
        editor->saveNow();
        return G_SOURCE_REMOVE;
    }, this));
}

void KTRuleEditor::save()
{
    if (pendingSave_.active()) {
        pendingSave_.reset();
        saveNow();
    }
}

void KTRuleEditor::saveNow()
{
    pendingSave_.reset();
    // A page takes its rules for the next document when the current one
    // commits: open pages take them now, so the next load shows the edit.
    for (const auto& window : KTMainWindowController::mainWindows())
        for (size_t i = 0; KTWebViewController* page = window->tabController()->pageAt(i); ++i)
            page->loadUserScripts();
    // The scripts live in the app's folder, which may be read-only.
    const bool saved = store_.saveJson();
    gtk_label_set_text(GTK_LABEL(ui_.widget("status")),
                       saved ? "" : "Could not save: the file cannot be written. Changes last until the app quits.");
}

} // namespace quilt
