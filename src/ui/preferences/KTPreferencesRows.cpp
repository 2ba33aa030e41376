#include "ui/preferences/KTPreferencesRows.h"

#include "ui/preferences/KTBuilder.h"

#include <memory>

namespace quilt {

namespace {
// Hands a std::function to a signal for the lifetime of its widget.
template <class Fn>
void connect(GtkWidget* widget, const char* signal, GCallback callback, Fn fn)
{
    g_signal_connect_data(widget, signal, callback, new Fn(std::move(fn)),
                          [](gpointer data, GClosure*) { delete static_cast<Fn*>(data); }, GConnectFlags(0));
}

GtkWidget* label(const std::string& text, bool dim)
{
    GtkWidget* l = gtk_label_new(text.c_str());
    gtk_label_set_xalign(GTK_LABEL(l), 0);
    gtk_label_set_line_wrap(GTK_LABEL(l), TRUE);
    gtk_label_set_max_width_chars(GTK_LABEL(l), 44);
    if (dim) {
        gtk_style_context_add_class(gtk_widget_get_style_context(l), "dim-label");
        PangoAttrList* attrs = pango_attr_list_new();
        pango_attr_list_insert(attrs, pango_attr_scale_new(PANGO_SCALE_SMALL));
        gtk_label_set_attributes(GTK_LABEL(l), attrs);
        pango_attr_list_unref(attrs);
    }
    return l;
}
} // namespace

KTPreferencesRows::KTPreferencesRows(KTEnterpriseLocks locks)
    : locks_(std::move(locks))
{
    KTBuilder ui("/org/quilt/ui/preferences/page.ui");
    page_ = GTK_WIDGET(g_object_ref(ui.widget("page")));
    groups_ = ui.widget("groups");
}

KTPreferencesRows::~KTPreferencesRows()
{
    gtk_widget_destroy(page_);
    g_object_unref(page_);
}

void KTPreferencesRows::group(const std::string& title)
{
    GtkWidget* heading = gtk_label_new(nullptr);
    char* markup = g_markup_printf_escaped("<b>%s</b>", title.c_str());
    gtk_label_set_markup(GTK_LABEL(heading), markup);
    g_free(markup);
    gtk_label_set_xalign(GTK_LABEL(heading), 0);
    // The first group sits at the top; the others keep a gap above.
    if (list_)
        gtk_widget_set_margin_top(heading, 18);
    list_ = gtk_list_box_new();
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list_), GTK_SELECTION_NONE);
    gtk_style_context_add_class(gtk_widget_get_style_context(list_), "frame");
    gtk_container_add(GTK_CONTAINER(groups_), heading);
    gtk_container_add(GTK_CONTAINER(groups_), list_);
    gtk_widget_show_all(heading);
    gtk_widget_show(list_);
}

GtkWidget* KTPreferencesRows::row(const std::string& key, const std::string& title, const std::string& subtitle,
                                  GtkWidget* control)
{
    if (!list_)
        group("");
    const bool locked = locks_.locked(key);
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 12);
    g_object_set(box, "margin", 12, nullptr);
    GtkWidget* texts = gtk_box_new(GTK_ORIENTATION_VERTICAL, 2);
    gtk_widget_set_hexpand(texts, TRUE);
    gtk_widget_set_valign(texts, GTK_ALIGN_CENTER);
    gtk_container_add(GTK_CONTAINER(texts), label(title, false));
    if (!subtitle.empty())
        gtk_container_add(GTK_CONTAINER(texts), label(subtitle, true));
    if (locked) {
        GtkWidget* line = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 4);
        gtk_container_add(GTK_CONTAINER(line),
                          gtk_image_new_from_icon_name("changes-prevent-symbolic", GTK_ICON_SIZE_MENU));
        GtkWidget* why = label(KTEnterpriseLocks::kReason, true);
        gtk_widget_set_name(why, "locked-reason");
        gtk_container_add(GTK_CONTAINER(line), why);
        gtk_container_add(GTK_CONTAINER(texts), line);
    }
    gtk_container_add(GTK_CONTAINER(box), texts);
    if (control) {
        gtk_widget_set_name(control, key.c_str());
        gtk_widget_set_valign(control, GTK_ALIGN_CENTER);
        gtk_widget_set_sensitive(control, !locked);
        gtk_container_add(GTK_CONTAINER(box), control);
    }
    GtkWidget* row = gtk_list_box_row_new();
    gtk_list_box_row_set_activatable(GTK_LIST_BOX_ROW(row), FALSE);
    gtk_container_add(GTK_CONTAINER(row), box);
    gtk_container_add(GTK_CONTAINER(list_), row);
    gtk_widget_show_all(row);
    return row;
}

GtkWidget* KTPreferencesRows::addSwitch(const std::string& key, const std::string& title, const std::string& subtitle,
                                        bool on, std::function<void(bool)> changed)
{
    GtkWidget* sw = gtk_switch_new();
    gtk_switch_set_active(GTK_SWITCH(sw), on);
    connect(sw, "notify::active", G_CALLBACK(+[](GtkSwitch* s, GParamSpec*, gpointer data) {
                (*static_cast<std::function<void(bool)>*>(data))(gtk_switch_get_active(s));
            }),
            std::move(changed));
    return row(key, title, subtitle, sw);
}

GtkWidget* KTPreferencesRows::addChoice(const std::string& key, const std::string& title, const std::string& subtitle,
                                        const std::vector<std::string>& choices, int active,
                                        std::function<void(int)> changed)
{
    GtkWidget* combo = gtk_combo_box_text_new();
    for (const auto& c : choices)
        gtk_combo_box_text_append_text(GTK_COMBO_BOX_TEXT(combo), c.c_str());
    gtk_combo_box_set_active(GTK_COMBO_BOX(combo), active);
    connect(combo, "changed", G_CALLBACK(+[](GtkComboBox* c, gpointer data) {
                (*static_cast<std::function<void(int)>*>(data))(gtk_combo_box_get_active(c));
            }),
            std::move(changed));
    return row(key, title, subtitle, combo);
}

GtkWidget* KTPreferencesRows::addEntry(const std::string& key, const std::string& title, const std::string& subtitle,
                                       const std::string& text, std::function<void(const std::string&)> changed)
{
    GtkWidget* entry = gtk_entry_new();
    gtk_entry_set_text(GTK_ENTRY(entry), text.c_str());
    gtk_entry_set_width_chars(GTK_ENTRY(entry), 24);
    // The last committed text, so focus moving about writes nothing new.
    struct Commit {
        std::function<void(const std::string&)> changed;
        std::string last;
        void operator()(GtkEntry* e)
        {
            std::string now = gtk_entry_get_text(e);
            if (now != last) {
                last = now;
                changed(now);
            }
        }
    };
    auto commit = std::make_shared<Commit>(Commit{std::move(changed), text});
    connect(entry, "activate", G_CALLBACK(+[](GtkEntry* e, gpointer data) {
                (**static_cast<std::shared_ptr<Commit>*>(data))(e);
            }),
            commit);
    connect(entry, "focus-out-event", G_CALLBACK(+[](GtkEntry* e, GdkEvent*, gpointer data) -> gboolean {
                (**static_cast<std::shared_ptr<Commit>*>(data))(e);
                return FALSE;
            }),
            commit);
    return row(key, title, subtitle, entry);
}

GtkWidget* KTPreferencesRows::addSpin(const std::string& key, const std::string& title, const std::string& subtitle,
                                      double min, double max, double step, double value,
                                      std::function<void(double)> changed)
{
    GtkWidget* spin = gtk_spin_button_new_with_range(min, max, step);
    gtk_spin_button_set_value(GTK_SPIN_BUTTON(spin), value);
    connect(spin, "value-changed", G_CALLBACK(+[](GtkSpinButton* s, gpointer data) {
                (*static_cast<std::function<void(double)>*>(data))(gtk_spin_button_get_value(s));
            }),
            std::move(changed));
    return row(key, title, subtitle, spin);
}

GtkWidget* KTPreferencesRows::addInfo(const std::string& key, const std::string& title, const std::string& text)
{
    GtkWidget* value = gtk_label_new(text.c_str());
    gtk_label_set_selectable(GTK_LABEL(value), TRUE);
    gtk_label_set_ellipsize(GTK_LABEL(value), PANGO_ELLIPSIZE_MIDDLE);
    gtk_label_set_max_width_chars(GTK_LABEL(value), 36);
    gtk_label_set_xalign(GTK_LABEL(value), 1);
    return row(key, title, "", value);
}

GtkWidget* KTPreferencesRows::control(const std::string& key) const
{
    // Depth first through the page for the widget named `key`.
    std::function<GtkWidget*(GtkWidget*)> find = [&](GtkWidget* w) -> GtkWidget* {
        if (key == gtk_widget_get_name(w))
            return w;
        GtkWidget* found = nullptr;
        if (GTK_IS_CONTAINER(w)) {
            GList* kids = gtk_container_get_children(GTK_CONTAINER(w));
            for (GList* l = kids; l && !found; l = l->next)
                found = find(GTK_WIDGET(l->data));
            g_list_free(kids);
        }
        return found;
    };
    return find(page_);
}

} // namespace quilt
