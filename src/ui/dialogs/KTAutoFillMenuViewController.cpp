#include "ui/dialogs/KTAutoFillMenuViewController.h"

#include <algorithm>

namespace quilt {

namespace {

constexpr const char* kStyle = R"(
#KTAutoFillMenu { border: 1px solid alpha(black, 0.2); }
#KTAutoFillMenu.rounded { border-radius: 6px; }
#KTAutoFillMenu list { background: transparent; }
#KTAutoFillMenu row { min-height: 44px; padding: 0 12px; }
#KTAutoFillMenu label { font-size: 13px; }
)";

} // namespace

KTAutoFillMenuViewController& KTAutoFillMenuViewController::shared()
{
    static KTAutoFillMenuViewController menu;
    return menu;
}

void KTAutoFillMenuViewController::build()
{
    window_ = gtk_window_new(GTK_WINDOW_POPUP);
    gtk_widget_set_name(window_, "KTAutoFillMenu");
    gtk_window_set_type_hint(GTK_WINDOW(window_), GDK_WINDOW_TYPE_HINT_DROPDOWN_MENU);
    GdkScreen* screen = gtk_widget_get_screen(window_);
    // Round corners need a compositor to be see-through.
    if (GdkVisual* rgba = gdk_screen_get_rgba_visual(screen); rgba && gdk_screen_is_composited(screen)) {
        gtk_widget_set_visual(window_, rgba);
        gtk_style_context_add_class(gtk_widget_get_style_context(window_), "rounded");
    }
    GtkCssProvider* css = gtk_css_provider_new();
    gtk_css_provider_load_from_data(css, kStyle, -1, nullptr);
    gtk_style_context_add_provider_for_screen(screen, GTK_STYLE_PROVIDER(css), GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(css);

    scroller_ = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scroller_), GTK_POLICY_NEVER, GTK_POLICY_AUTOMATIC);
    list_ = gtk_list_box_new();
    gtk_list_box_set_selection_mode(GTK_LIST_BOX(list_), GTK_SELECTION_SINGLE);
    gtk_list_box_set_activate_on_single_click(GTK_LIST_BOX(list_), TRUE);
    // No keyboard focus here, so no row is selected by the focus landing on it.
    gtk_widget_set_can_focus(list_, FALSE);
    g_signal_connect(list_, "row-activated", G_CALLBACK(+[](GtkListBox*, GtkListBoxRow* row, gpointer) {
                         auto& menu = shared();
                         menu.select(gtk_list_box_row_get_index(row));
                         menu.selectMenu();
                     }),
                     nullptr);
    gtk_container_add(GTK_CONTAINER(scroller_), list_);
    gtk_container_add(GTK_CONTAINER(window_), scroller_);
    gtk_widget_show_all(scroller_);
    g_signal_connect(window_, "destroy", G_CALLBACK(+[](GtkWidget*, gpointer) {
                         auto& menu = shared();
                         menu.window_ = menu.scroller_ = menu.list_ = nullptr;
                         menu.parentUnmapped_.disconnect();
                     }),
                     nullptr);
}

void KTAutoFillMenuViewController::show(GtkWindow* parent, int x, int y, const std::vector<std::string>& users,
                                        std::function<void(size_t)> chosen)
{
    if (!window_)
        build();
    chosen_ = std::move(chosen);
    setItems(users);
    gtk_window_set_transient_for(GTK_WINDOW(window_), parent);
    parentUnmapped_ = parent ? KTSignal(parent, "unmap", G_CALLBACK(+[](GtkWidget*, gpointer) { shared().hide(); }),
                                        nullptr)
                             : KTSignal();
    int width = 0, height = 0;
    getSize(width, height);
    gtk_widget_set_size_request(scroller_, width, height);
    gtk_window_resize(GTK_WINDOW(window_), width, height);
    gtk_window_move(GTK_WINDOW(window_), x, y);
    gtk_widget_show(window_);
    gtk_list_box_unselect_all(GTK_LIST_BOX(list_));
}

void KTAutoFillMenuViewController::hide()
{
    chosen_ = nullptr;
    parentUnmapped_.disconnect();
    if (window_)
        gtk_widget_hide(window_);
}

void KTAutoFillMenuViewController::setItems(const std::vector<std::string>& users)
{
    items_ = users;
    if (!list_)
        return;
    GList* children = gtk_container_get_children(GTK_CONTAINER(list_));
    for (GList* l = children; l; l = l->next)
        gtk_widget_destroy(GTK_WIDGET(l->data));
    g_list_free(children);
    for (const std::string& user : items_) {
        GtkWidget* label = gtk_label_new(user.c_str());
        gtk_label_set_xalign(GTK_LABEL(label), 0);
        gtk_label_set_ellipsize(GTK_LABEL(label), PANGO_ELLIPSIZE_END);
        GtkWidget* row = gtk_list_box_row_new();
        gtk_widget_set_can_focus(row, FALSE);
        gtk_widget_set_size_request(row, -1, kRowHeight);
        gtk_container_add(GTK_CONTAINER(row), label);
        gtk_widget_show_all(row);
        gtk_container_add(GTK_CONTAINER(list_), row);
    }
}

int KTAutoFillMenuViewController::selectedRow() const
{
    GtkListBoxRow* row = list_ ? gtk_list_box_get_selected_row(GTK_LIST_BOX(list_)) : nullptr;
    return row ? gtk_list_box_row_get_index(row) : -1;
}

void KTAutoFillMenuViewController::select(int row)
{
    if (!list_)
        return;
    GtkListBoxRow* r = row >= 0 ? gtk_list_box_get_row_at_index(GTK_LIST_BOX(list_), row) : nullptr;
    if (r)
        gtk_list_box_select_row(GTK_LIST_BOX(list_), r);
    else
        gtk_list_box_unselect_all(GTK_LIST_BOX(list_));
}

void KTAutoFillMenuViewController::selectDown()
{
    const int next = selectedRow() + 1;
    if (next < static_cast<int>(items_.size()))
        select(next);
}

void KTAutoFillMenuViewController::selectUp()
{
    const int row = selectedRow();
    select(row >= 1 ? row - 1 : -1);
}

void KTAutoFillMenuViewController::selectMenu()
{
    const int row = selectedRow();
    if (row < 0 || !chosen_)
        return;
    // The choice may hide the menu, which lets go of the callback.
    auto chosen = chosen_;
    chosen(static_cast<size_t>(row));
}

int KTAutoFillMenuViewController::widthOfString(const std::string& text) const
{
    PangoLayout* layout = gtk_widget_create_pango_layout(window_, text.c_str());
    PangoFontDescription* font = pango_font_description_copy(pango_context_get_font_description(
        pango_layout_get_context(layout)));
    pango_font_description_set_absolute_size(font, kFontSize * PANGO_SCALE);
    pango_layout_set_font_description(layout, font);
    int width = 0, height = 0;
    pango_layout_get_pixel_size(layout, &width, &height);
    pango_font_description_free(font);
    g_object_unref(layout);
    return width;
}

void KTAutoFillMenuViewController::getSize(int& width, int& height) const
{
    width = kMinWidth;
    for (const std::string& user : items_)
        width = std::max(width, widthOfString(user) + kTextPadding);
    height = std::min(static_cast<int>(items_.size()) * kRowHeight, kMaxHeight);
}

} // namespace quilt
