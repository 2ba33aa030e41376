#include "ui/preferences/KTAllowListPane.h"

#include "core/config/KTEnterpriseLocks.h"
#include "core/web/KTNavigationPolicy.h"
#include "core/web/KTTypedAddress.h"
#include "core/web/KTWhiteListManager.h"
#include "web/KTWebContext.h"

#include <vector>

namespace quilt {

namespace {

// An enterprise configuration imposes the allow-list at every start, so an
// edit here would not last: the pane shows it locked.
bool allowListImposed() { return KTEnterpriseLocks::current().locked("allowAll"); }

std::vector<std::string> rowsOf(GtkListStore* store)
{
    std::vector<std::string> rows;
    GtkTreeIter it;
    for (gboolean ok = gtk_tree_model_get_iter_first(GTK_TREE_MODEL(store), &it); ok;
         ok = gtk_tree_model_iter_next(GTK_TREE_MODEL(store), &it)) {
        gchar* text = nullptr;
        gtk_tree_model_get(GTK_TREE_MODEL(store), &it, 0, &text, -1);
        rows.emplace_back(text ? text : "");
        g_free(text);
    }
    return rows;
}

} // namespace

GtkWidget* KTAllowListPane::widget()
{
    if (!ui_)
        build();
    return ui_->widget("pane");
}

std::string KTAllowListPane::verdictFor(const std::string& typed)
{
    auto url = KTTypedAddress::urlToLoad(typed);
    if (!url)
        return "Not an address";
    KTNavigationRequest request;
    request.url = *url;
    switch (KTNavigationPolicy::decide(request, KTWhiteListManager::sharedManager().rules()).action) {
    case KTNavigationDecision::Action::Allow:
    case KTNavigationDecision::Action::NewTab:
        return "Stays in the app";
    case KTNavigationDecision::Action::OpenInDefaultBrowser:
        return "Opens in your browser";
    case KTNavigationDecision::Action::AskOpenOtherApp:
        return "Opens in another application";
    }
    return "Not an address";
}

void KTAllowListPane::build()
{
    ui_ = std::make_unique<KTBuilder>("/org/quilt/ui/preferences/allow-list.ui");
    store_ = GTK_LIST_STORE(ui_->object("pattern-store"));
    view_ = GTK_TREE_VIEW(ui_->widget("patterns"));

    cell_ = gtk_cell_renderer_text_new();
    g_object_set(cell_, "editable", TRUE, nullptr);
    gtk_tree_view_insert_column_with_attributes(view_, -1, "Pattern", cell_, "text", 0, nullptr);
    g_signal_connect(cell_, "edited", G_CALLBACK(+[](GtkCellRendererText*, char* path, char* text, gpointer self) {
                         auto* pane = static_cast<KTAllowListPane*>(self);
                         GtkTreeIter it;
                         if (gtk_tree_model_get_iter_from_string(GTK_TREE_MODEL(pane->store_), &it, path)) {
                             if (*text)
                                 gtk_list_store_set(pane->store_, &it, 0, text, -1);
                             else
                                 gtk_list_store_remove(pane->store_, &it);
                         }
                         pane->storePatterns();
                     }),
                     this);
    // A new row left without text is no pattern ("" would match everything).
    g_signal_connect(cell_, "editing-canceled", G_CALLBACK(+[](GtkCellRenderer*, gpointer self) {
                         auto* pane = static_cast<KTAllowListPane*>(self);
                         auto rows = rowsOf(pane->store_);
                         GtkTreeIter it;
                         if (!rows.empty() && rows.back().empty()
                             && gtk_tree_model_iter_nth_child(GTK_TREE_MODEL(pane->store_), &it, nullptr,
                                                              static_cast<int>(rows.size() - 1)))
                             gtk_list_store_remove(pane->store_, &it);
                     }),
                     this);

    g_signal_connect_swapped(ui_->widget("mode"), "changed",
                             G_CALLBACK(+[](KTAllowListPane* p) { p->modeChanged(); }), this);
    g_signal_connect(ui_->widget("subdomains"), "notify::active",
                     G_CALLBACK(+[](GtkSwitch* s, GParamSpec*, KTAllowListPane* p) {
                         if (p->loading_)
                             return;
                         KTWhiteListManager::sharedManager().setAllowSubdomains(gtk_switch_get_active(s));
                         p->apply();
                     }),
                     this);
    g_signal_connect_swapped(ui_->widget("add"), "clicked", G_CALLBACK(+[](KTAllowListPane* p) { p->addPattern(); }),
                             this);
    g_signal_connect_swapped(ui_->widget("remove"), "clicked",
                             G_CALLBACK(+[](KTAllowListPane* p) { p->removePattern(); }), this);
    g_signal_connect_swapped(ui_->widget("test-entry"), "changed",
                             G_CALLBACK(+[](KTAllowListPane* p) { p->updateTest(); }), this);
    load();
    setLocked(allowListImposed());
}

void KTAllowListPane::load()
{
    loading_ = true;
    auto& list = KTWhiteListManager::sharedManager();
    gtk_combo_box_set_active_id(GTK_COMBO_BOX(ui_->widget("mode")),
                                list.allowAll() ? "all" : list.allowPatterns() ? "allow" : "block");
    gtk_switch_set_active(GTK_SWITCH(ui_->widget("subdomains")), list.allowSubdomains());
    gtk_list_store_clear(store_);
    for (const auto& p : list.patterns())
        gtk_list_store_insert_with_values(store_, nullptr, -1, 0, p.c_str(), -1);
    modeChanged();
    loading_ = false;
}

void KTAllowListPane::modeChanged()
{
    const char* active = gtk_combo_box_get_active_id(GTK_COMBO_BOX(ui_->widget("mode")));
    const std::string mode = active ? active : "all";
    const bool patterns = mode != "all" && !allowListImposed();
    for (const char* id : {"patterns", "pattern-buttons", "subdomains"})
        gtk_widget_set_sensitive(ui_->widget(id), patterns);
    if (loading_)
        return;
    auto& list = KTWhiteListManager::sharedManager();
    list.setAllowAll(mode == "all");
    if (mode != "all")
        list.setAllowPatterns(mode == "allow");
    apply();
}

void KTAllowListPane::storePatterns()
{
    auto& list = KTWhiteListManager::sharedManager();
    list.removeAllPatterns();
    std::vector<std::string> rows;
    for (const auto& p : rowsOf(store_))
        if (!p.empty()) {
            list.addPattern(p);
            rows.push_back(p);
        }
    // The store keeps one of each pattern: a repeated row goes.
    if (rows != list.patterns()) {
        gtk_list_store_clear(store_);
        for (const auto& p : list.patterns())
            gtk_list_store_insert_with_values(store_, nullptr, -1, 0, p.c_str(), -1);
    }
    apply();
}

void KTAllowListPane::apply()
{
    auto& list = KTWhiteListManager::sharedManager();
    list.savePatterns();
    // Web processes refuse a main-frame address before asking for it: they
    // need the list now, not at the next navigation the browser side sees.
    KTWebContext::shared().shareAllowList(list.rules());
    updateTest();
}

void KTAllowListPane::addPattern()
{
    GtkTreeIter it;
    gtk_list_store_insert_with_values(store_, &it, -1, 0, "", -1);
    GtkTreePath* path = gtk_tree_model_get_path(GTK_TREE_MODEL(store_), &it);
    gtk_widget_grab_focus(GTK_WIDGET(view_));
    gtk_tree_view_set_cursor(view_, path, gtk_tree_view_get_column(view_, 0), TRUE);
    gtk_tree_path_free(path);
}

void KTAllowListPane::removePattern()
{
    GtkTreeIter it;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(view_), nullptr, &it))
        return;
    if (gtk_list_store_remove(store_, &it))
        gtk_tree_selection_select_iter(gtk_tree_view_get_selection(view_), &it);
    storePatterns();
}

void KTAllowListPane::updateTest()
{
    const char* typed = gtk_entry_get_text(GTK_ENTRY(ui_->widget("test-entry")));
    gtk_label_set_text(GTK_LABEL(ui_->widget("test-result")), *typed ? verdictFor(typed).c_str() : "");
}

void KTAllowListPane::setLocked(bool locked)
{
    gtk_label_set_text(GTK_LABEL(ui_->widget("locked")), KTEnterpriseLocks::kReason);
    gtk_widget_set_visible(ui_->widget("locked"), locked);
    gtk_widget_set_sensitive(ui_->widget("mode"), !locked);
    loading_ = true;
    modeChanged();
    loading_ = false;
}

} // namespace quilt
