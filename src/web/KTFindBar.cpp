#include "web/KTFindBar.h"

#include "web/KTWebView.h"

namespace quilt {

namespace {
GtkWidget* arrow(const char* icon, const char* tooltip)
{
    GtkWidget* b = gtk_button_new_from_icon_name(icon, GTK_ICON_SIZE_MENU);
    gtk_widget_set_tooltip_text(b, tooltip);
    gtk_widget_set_focus_on_click(b, FALSE);
    return b;
}
} // namespace

KTFindBar::KTFindBar(KTWebView& page)
    : page_(page)
{
    bar_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 6);
    g_object_ref_sink(bar_);
    gtk_style_context_add_class(gtk_widget_get_style_context(bar_), "quilt-find-bar");
    gtk_widget_set_size_request(bar_, -1, 30);
    gtk_widget_set_margin_start(bar_, 6);
    gtk_widget_set_margin_end(bar_, 6);
    field_ = gtk_search_entry_new();
    gtk_widget_set_size_request(field_, 240, -1);
    result_ = gtk_label_new("");
    previous_ = arrow("go-up-symbolic", "Previous");
    next_ = arrow("go-down-symbolic", "Next");
    GtkWidget* arrows = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
    gtk_style_context_add_class(gtk_widget_get_style_context(arrows), "linked");
    gtk_container_add(GTK_CONTAINER(arrows), previous_);
    gtk_container_add(GTK_CONTAINER(arrows), next_);
    GtkWidget* done = gtk_button_new_with_label("Done");
    gtk_box_pack_start(GTK_BOX(bar_), field_, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(bar_), arrows, FALSE, FALSE, 0);
    gtk_box_pack_start(GTK_BOX(bar_), result_, FALSE, FALSE, 0);
    gtk_box_pack_end(GTK_BOX(bar_), done, FALSE, FALSE, 0);
    gtk_widget_show_all(bar_);
    gtk_widget_set_sensitive(previous_, FALSE);
    gtk_widget_set_sensitive(next_, FALSE);

    // The widgets die with the bar, and the bar with this object, so the
    // connections never outlive it.
    using Member = void (KTFindBar::*)();
    using Call = std::pair<KTFindBar*, Member>;
    auto on = [this](gpointer instance, const char* signal, Member run) {
        g_signal_connect_data(instance, signal, G_CALLBACK(+[](GObject*, gpointer data) {
                                  auto* call = static_cast<Call*>(data);
                                  (call->first->*call->second)();
                              }),
                              new Call(this, run), [](gpointer data, GClosure*) { delete static_cast<Call*>(data); },
                              GConnectFlags(0));
    };
    on(field_, "search-changed", &KTFindBar::searchTextAction);
    on(field_, "activate", &KTFindBar::searchTextAction);
    on(field_, "next-match", &KTFindBar::searchNextAction);
    on(field_, "previous-match", &KTFindBar::searchPreviousAction);
    on(field_, "stop-search", &KTFindBar::searchDoneAction);
    on(next_, "clicked", &KTFindBar::searchNextAction);
    on(previous_, "clicked", &KTFindBar::searchPreviousAction);
    on(done, "clicked", &KTFindBar::searchDoneAction);
}

KTFindBar::~KTFindBar()
{
    *alive_ = false;
    gtk_widget_destroy(bar_);
    g_object_unref(bar_);
}

void KTFindBar::show(long scrollTo)
{
    gtk_label_set_text(GTK_LABEL(result_), state_.label().c_str());
    gtk_widget_set_sensitive(previous_, state_.arrowsEnabled());
    gtk_widget_set_sensitive(next_, state_.arrowsEnabled());
    if (scrollTo >= 0)
        page_.scrollTo(scrollTo);
}

void KTFindBar::searchTextAction()
{
    std::string text = gtk_entry_get_text(GTK_ENTRY(field_));
    unsigned search = ++search_;
    if (text.empty()) {
        state_.cleared();
        show(-1);
        page_.removeAllHighlights();
        return;
    }
    auto alive = alive_;
    page_.highlightAllOccurencesOfString(text, [this, alive, search](long n) {
        if (*alive && search == search_)
            show(state_.found(n));
    });
}

void KTFindBar::searchNextAction() { show(state_.next()); }

void KTFindBar::searchPreviousAction() { show(state_.previous()); }

void KTFindBar::searchDoneAction()
{
    // The page controller takes the bar away; see KTWebViewController.
    ++search_;
    state_.cleared();
    page_.removeAllHighlights();
    if (GtkWidget* parent = gtk_widget_get_parent(bar_))
        gtk_container_remove(GTK_CONTAINER(parent), bar_);
}

} // namespace quilt
