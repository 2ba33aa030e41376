#include "ui/windows/KTMainWindow.h"

#include "core/config/KTJson.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTSettingsManager.h"
#include "ui/windows/KTScreen.h"

#include <algorithm>
#include <cmath>

namespace quilt {

namespace {
int nextWindowNumber = 0;

GtkWidget* cornerButton(const char* icon, const char* tooltip, GCallback clicked, gpointer data)
{
    GtkWidget* b = gtk_button_new_from_icon_name(icon, GTK_ICON_SIZE_MENU);
    gtk_button_set_relief(GTK_BUTTON(b), GTK_RELIEF_NONE);
    gtk_widget_set_tooltip_text(b, tooltip);
    gtk_widget_set_focus_on_click(b, FALSE);
    g_signal_connect(b, "clicked", clicked, data);
    return b;
}

GtkWidget* verticalBox()
{
    GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
    gtk_widget_show(box);
    return box;
}
} // namespace

KTMainWindow::KTMainWindow(GtkApplication* app)
{
    // Tests drive windows without an application object.
    window_ = app ? gtk_application_window_new(app) : gtk_window_new(GTK_WINDOW_TOPLEVEL);
    g_object_ref_sink(window_);
    cssClass_ = "quilt-win-" + std::to_string(nextWindowNumber++);
    gtk_style_context_add_class(gtk_widget_get_style_context(window_), "quilt-main");
    gtk_style_context_add_class(gtk_widget_get_style_context(window_), cssClass_.c_str());
    headerBar_ = gtk_header_bar_new();
    gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(headerBar_), TRUE);
    // The header bar's own title is never used: clearing it would clear the
    // window's title too, and the task list would show nothing.
    titleStack_ = gtk_stack_new();
    // Sized by what it shows: a hidden address field takes no room.
    gtk_stack_set_hhomogeneous(GTK_STACK(titleStack_), FALSE);
    titleLabel_ = gtk_label_new("");
    gtk_label_set_ellipsize(GTK_LABEL(titleLabel_), PANGO_ELLIPSIZE_END);
    gtk_style_context_add_class(gtk_widget_get_style_context(titleLabel_), "title");
    gtk_stack_add_named(GTK_STACK(titleStack_), titleLabel_, "title");
    gtk_stack_add_named(GTK_STACK(titleStack_), gtk_label_new(""), "none");
    gtk_widget_show_all(titleStack_);
    gtk_header_bar_set_custom_title(GTK_HEADER_BAR(headerBar_), titleStack_);
    gtk_widget_show(headerBar_);
    gtk_window_set_titlebar(GTK_WINDOW(window_), headerBar_);

    GtkWidget* column = verticalBox();
    menuBarArea_ = verticalBox();
    contentArea_ = verticalBox();
    gtk_box_pack_start(GTK_BOX(column), menuBarArea_, FALSE, FALSE, 0);
    // Over the content, the dock monitor's selection overlay when it is up.
    GtkWidget* overlay = gtk_overlay_new();
    gtk_container_add(GTK_CONTAINER(overlay), contentArea_);
    gtk_widget_show(overlay);
    contentOverlay_ = overlay;
    gtk_box_pack_start(GTK_BOX(column), overlay, TRUE, TRUE, 0);
    gtk_container_add(GTK_CONTAINER(window_), column);

    css_ = gtk_css_provider_new();
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(css_),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    realizeSignal_ = KTSignal(window_, "realize", G_CALLBACK(+[](GtkWidget*, KTMainWindow* self) {
                                  self->applyAlpha();
                              }),
                              this, G_CONNECT_AFTER);

    titlebarObservation_ = KTObservation(names::kTitlebarVisibilityChange, [this](const KTNotification& n) {
        if (json::boolFor(n.userInfo, "TitlebarVisibility"))
            updateWindowButtons();
        else
            resetButtons();
    });
    if (KTSettingsManager::sharedManager().hideTitlebar())
        updateWindowButtons();
    applyCss();
}

KTMainWindow::~KTMainWindow()
{
    titlebarObservation_.reset();
    realizeSignal_ = KTSignal();
    gtk_style_context_remove_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(css_));
    g_object_unref(css_);
    gtk_widget_destroy(window_);
    g_object_unref(window_);
}

void KTMainWindow::setContent(GtkWidget* content)
{
    gtk_box_pack_start(GTK_BOX(contentArea_), content, TRUE, TRUE, 0);
}

void KTMainWindow::addOverlay(GtkWidget* widget)
{
    gtk_overlay_add_overlay(GTK_OVERLAY(contentOverlay_), widget);
}

void KTMainWindow::setTitle(const std::string& title)
{
    gtk_window_set_title(GTK_WINDOW(window_), title.c_str());
    gtk_label_set_text(GTK_LABEL(titleLabel_), title.c_str());
}

std::string KTMainWindow::title() const
{
    const char* t = gtk_window_get_title(GTK_WINDOW(window_));
    return t ? t : "";
}

void KTMainWindow::setMiddleWidget(GtkWidget* middle)
{
    middle_ = middle;
    gtk_stack_add_named(GTK_STACK(titleStack_), middle_, "middle");
    showTitleChild();
}

void KTMainWindow::showMiddleWidget(bool shown)
{
    middleShown_ = shown;
    showTitleChild();
}

void KTMainWindow::showTitleChild()
{
    const char* child = middleShown_ && middle_ ? "middle" : (hidden_ ? "none" : "title");
    if (middle_)
        gtk_widget_set_visible(middle_, middleShown_);
    gtk_stack_set_visible_child_name(GTK_STACK(titleStack_), child);
}

void KTMainWindow::updateWindowButtons()
{
    hidden_ = true;
    if (!buttonWrapper_) {
        // The corner: close, minimise and maximise at the header's start,
        // shown while the pointer is over them.
        buttonWrapper_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 0);
        gtk_style_context_add_class(gtk_widget_get_style_context(buttonWrapper_), "quilt-corner-buttons");
        gtk_box_pack_start(GTK_BOX(buttonWrapper_),
                           cornerButton("window-close-symbolic", "Close",
                                        G_CALLBACK(+[](GtkButton*, GtkWindow* w) { gtk_window_close(w); }), window_),
                           FALSE, FALSE, 0);
        gtk_box_pack_start(GTK_BOX(buttonWrapper_),
                           cornerButton("window-minimize-symbolic", "Minimise",
                                        G_CALLBACK(+[](GtkButton*, GtkWindow* w) { gtk_window_iconify(w); }), window_),
                           FALSE, FALSE, 0);
        gtk_box_pack_start(GTK_BOX(buttonWrapper_),
                           cornerButton("window-maximize-symbolic", "Maximise",
                                        G_CALLBACK(+[](GtkButton*, GtkWindow* w) {
                                            if (gtk_window_is_maximized(w))
                                                gtk_window_unmaximize(w);
                                            else
                                                gtk_window_maximize(w);
                                        }),
                                        window_),
                           FALSE, FALSE, 0);
        hoverArea_ = gtk_event_box_new();
        gtk_widget_set_valign(hoverArea_, GTK_ALIGN_CENTER);
        gtk_widget_add_events(hoverArea_, GDK_ENTER_NOTIFY_MASK | GDK_LEAVE_NOTIFY_MASK);
        gtk_container_add(GTK_CONTAINER(hoverArea_), buttonWrapper_);
        g_signal_connect(hoverArea_, "enter-notify-event",
                         G_CALLBACK(+[](GtkWidget*, GdkEventCrossing*, KTMainWindow* self) -> gboolean {
                             self->showButtons();
                             return FALSE;
                         }),
                         this);
        g_signal_connect(hoverArea_, "leave-notify-event",
                         G_CALLBACK(+[](GtkWidget*, GdkEventCrossing* e, KTMainWindow* self) -> gboolean {
                             // Moving onto a button inside the area is not leaving it.
                             if (e->detail != GDK_NOTIFY_INFERIOR)
                                 self->hideButtons();
                             return FALSE;
                         }),
                         this);
        gtk_header_bar_pack_start(GTK_HEADER_BAR(headerBar_), hoverArea_);
        // First in the bar, before anything the toolbar packs.
        gtk_container_child_set(GTK_CONTAINER(headerBar_), hoverArea_, "position", 0, nullptr);
    }
    gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(headerBar_), FALSE);
    gtk_widget_show_all(hoverArea_);
    hideButtons();
    showTitleChild();
}

void KTMainWindow::resetButtons()
{
    hidden_ = false;
    gtk_header_bar_set_show_close_button(GTK_HEADER_BAR(headerBar_), TRUE);
    if (hoverArea_)
        gtk_widget_hide(hoverArea_);
    showTitleChild();
}

void KTMainWindow::showButtons()
{
    buttonsShown_ = true;
    if (buttonWrapper_)
        gtk_widget_set_opacity(buttonWrapper_, 1.0);
}

void KTMainWindow::hideButtons()
{
    buttonsShown_ = false;
    if (buttonWrapper_)
        gtk_widget_set_opacity(buttonWrapper_, 0.0);
}

void KTMainWindow::setAlpha(double alpha)
{
    alpha_ = std::clamp(alpha, 0.0, 1.0);
    applyAlpha();
}

void KTMainWindow::applyAlpha()
{
    // Before realization GTK keeps the value but never writes
    // _NET_WM_WINDOW_OPACITY; setting it again once realized does.
    if (alpha_ && gtk_widget_get_realized(window_))
        gtk_widget_set_opacity(window_, *alpha_);
}

void KTMainWindow::setBackgroundColor(const KTColor& color)
{
    background_ = color;
    applyCss();
}

void KTMainWindow::applyCss()
{
    std::string sel = "window." + cssClass_;
    std::string css;
    if (!background_.isSystem()) {
        css += sel + ", " + sel + " headerbar { background: " + background_.cssString() + "; }\n";
        // The title and the menu bar's names follow the window colour: black
        // on light, white on dark.
        css += sel + " headerbar, " + sel + " headerbar .title, " + sel + " headerbar button.titlebutton, " + sel
            + " menubar > menuitem { color: "
            + std::string(background_.colorIsLight() ? "black" : "white") + "; }\n";
    }
    if (!KTSettingsManager::sharedManager().windowShadow())
        css += sel + " decoration { box-shadow: none; }\n";
    css += sel + " .quilt-corner-buttons button { min-height: 18px; min-width: 18px; padding: 2px; }\n";
    // The progress line: one pixel of the theme's selection blue on nothing.
    css += sel + " .quilt-progress trough, " + sel
        + " .quilt-progress progress { min-height: 1px; border: none; border-radius: 0; box-shadow: none; }\n";
    css += sel + " .quilt-progress trough { background: transparent; }\n";
    css += sel + " .quilt-progress progress { background: @theme_selected_bg_color; }\n";
    gtk_css_provider_load_from_data(css_, css.c_str(), -1, nullptr);
}

int KTMainWindow::titlebarHeight() const
{
    // GTK sizes a window by its content: the title bar comes on top.
    if (!gtk_widget_get_visible(headerBar_))
        return 0;
    int h = gtk_widget_get_allocated_height(headerBar_);
    if (h <= 1)
        gtk_widget_get_preferred_height(headerBar_, nullptr, &h);
    return h;
}

KTRect KTMainWindow::frame() const
{
    int x = 0, y = 0, w = 0, h = 0;
    gtk_window_get_position(GTK_WINDOW(window_), &x, &y);
    gtk_window_get_size(GTK_WINDOW(window_), &w, &h);
    return KTRect{double(x), double(y), double(w), double(h + titlebarHeight())};
}

void KTMainWindow::setFrame(const KTRect& frame)
{
    KTRect f = frame;
    if (auto area = KTScreen::mainWorkArea()) {
        if (f.width >= 1)
            f.width = std::min(f.width, area->width);
        if (f.height >= 1)
            f.height = std::min(f.height, area->height);
        double w = f.width >= 1 ? f.width : 0, h = f.height >= 1 ? f.height : 0;
        f.x = std::clamp(f.x, area->x, std::max(area->x, area->x + area->width - w));
        f.y = std::clamp(f.y, area->y, std::max(area->y, area->y + area->height - h));
    }
    int contentHeight = int(std::lround(f.height)) - titlebarHeight();
    if (f.width >= 1 && contentHeight >= 1)
        gtk_window_resize(GTK_WINDOW(window_), int(std::lround(f.width)), contentHeight);
    gtk_window_move(GTK_WINDOW(window_), int(std::lround(f.x)), int(std::lround(f.y)));
}

void KTMainWindow::center()
{
    auto area = KTScreen::mainWorkArea();
    if (!area) {
        gtk_window_set_position(GTK_WINDOW(window_), GTK_WIN_POS_CENTER);
        return;
    }
    int w = 0, h = 0;
    gtk_window_get_size(GTK_WINDOW(window_), &w, &h);
    h += titlebarHeight();
    gtk_window_move(GTK_WINDOW(window_), int(area->x) + std::max(0, (int(area->width) - w) / 2),
                    int(area->y) + std::max(0, (int(area->height) - h) / 2));
}

} // namespace quilt
