#include "ui/preferences/KTAppearancePane.h"

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTSettingsManager.h"
#include "ui/windows/KTMainWindowController.h"

#include <cmath>

namespace quilt {

namespace {
KTSettingsManager& settings() { return KTSettingsManager::sharedManager(); }

void eachWindow(const std::function<void(KTMainWindowController&)>& fn)
{
    for (auto& w : KTMainWindowController::mainWindows())
        fn(*w);
}

// The settings' flags are mostly "hide ..."; the rows ask "show ...".
void setAndSave(void (KTSettingsManager::*set)(bool), bool v)
{
    (settings().*set)(v);
    settings().saveSettings();
}

void applyAppearance(unsigned long mode)
{
    GtkSettings* gtk = gtk_settings_get_default();
    if (mode == 1 || mode == 2)
        g_object_set(gtk, "gtk-application-prefer-dark-theme", mode == 2, nullptr);
    else
        gtk_settings_reset_property(gtk, "gtk-application-prefer-dark-theme");
}

void applyFixedColor()
{
    KTColor color = settings().windowColor();
    eachWindow([&](KTMainWindowController& w) { w.window().setBackgroundColor(color); });
}
} // namespace

GtkWidget* KTAppearancePane::widget()
{
    if (!rows_)
        build();
    return rows_->page();
}

void KTAppearancePane::build()
{
    rows_ = std::make_unique<KTPreferencesRows>();
    auto& rows = *rows_;
    auto& s = settings();

    rows.group("Window");
    rows.addChoice("appearance", "Style", "Light or dark controls, or as the desktop is set.",
                   {"As the system", "Light", "Dark"}, static_cast<int>(std::min(s.appearance(), 2ul)), [](int v) {
                       if (v < 0)
                           return;
                       settings().setAppearance(static_cast<unsigned long>(v));
                       settings().saveSettings();
                       applyAppearance(static_cast<unsigned long>(v));
                   });
    rows.addSwitch("autowindowColor", "Colour from the page",
                                       "The window takes the colour of the top of the page.", s.autoWindowColor(),
                                       [](bool v) {
                                           setAndSave(&KTSettingsManager::setAutoWindowColor, v);
                                           if (v)
                                               eachWindow([](KTMainWindowController& w) { w.updateWindowColor(); });
                                           else
                                               applyFixedColor();
                                       });
    GtkWidget* followSwitch = rows.control("autowindowColor");
    KTColor c = s.windowColor();
    GdkRGBA rgba {c.red(), c.green(), c.blue(), 1.0};
    GtkWidget* colorButton = gtk_color_button_new_with_rgba(&rgba);
    gtk_color_chooser_set_use_alpha(GTK_COLOR_CHOOSER(colorButton), FALSE);
    g_signal_connect(colorButton, "color-set", G_CALLBACK(+[](GtkColorButton* b, gpointer followSwitch) {
                         GdkRGBA chosen;
                         gtk_color_chooser_get_rgba(GTK_COLOR_CHOOSER(b), &chosen);
                         auto& st = settings();
                         st.setIsWindowColorSystem(false);
                         st.setWindowColor(KTColor::rgb(chosen.red, chosen.green, chosen.blue));
                         st.saveSettings();
                         // A chosen colour is meant to be seen: the page no longer decides.
                         if (gtk_switch_get_active(GTK_SWITCH(followSwitch)))
                             gtk_switch_set_active(GTK_SWITCH(followSwitch), FALSE);
                         else
                             applyFixedColor();
                     }),
                     followSwitch);
    rows.row("windowColor", "Window colour", "Used when the colour does not come from the page.", colorButton);

    double opacity = s.windowOpacity();
    // The absent value is 100 (clamped to opaque); the file holds a fraction.
    double percent = opacity > 1.0 ? 100.0 : std::max(opacity, 0.0) * 100.0;
    GtkWidget* scale = gtk_scale_new_with_range(GTK_ORIENTATION_HORIZONTAL, 20, 100, 5);
    gtk_range_set_value(GTK_RANGE(scale), std::max(percent, 20.0));
    gtk_scale_set_value_pos(GTK_SCALE(scale), GTK_POS_RIGHT);
    gtk_scale_set_digits(GTK_SCALE(scale), 0);
    gtk_widget_set_size_request(scale, 200, -1);
    g_signal_connect(scale, "value-changed", G_CALLBACK(+[](GtkRange* r, gpointer) {
                         double fraction = std::round(gtk_range_get_value(r)) / 100.0;
                         settings().setWindowOpacity(fraction);
                         settings().saveSettings();
                         eachWindow([&](KTMainWindowController& w) { w.window().setAlpha(fraction); });
                     }),
                     nullptr);
    rows.row("windowOpacityKey", "Opacity", "How much of what is behind the window shows through.", scale);
    rows.addSwitch("windowLevelKey", "Keep above other windows", "", s.windowLevel() == 3, [](bool v) {
        settings().setWindowLevel(v ? 3 : 0);
        settings().saveSettings();
        eachWindow([&](KTMainWindowController& w) { gtk_window_set_keep_above(w.window().window(), v); });
    });

    rows.group("Title bar");
    rows.addSwitch("hideTitlebar", "Show the title bar", "When hidden, the window buttons appear under the pointer.",
                   !s.hideTitlebar(), [](bool show) {
                       setAndSave(&KTSettingsManager::setHideTitlebar, !show);
                       KTNotificationCenter::defaultCenter().post(names::kTitlebarVisibilityChange, {},
                                                                  KTJson{{"TitlebarVisibility", !show}});
                       eachWindow([](KTMainWindowController& w) { w.updateWindowTitlebar(); });
                   });
    rows.addSwitch("hideTitle", "Show the title", "", !s.hideTitle(), [](bool show) {
        setAndSave(&KTSettingsManager::setHideTitle, !show);
        eachWindow([](KTMainWindowController& w) { w.updateWindowTitlebar(); });
    });
    rows.addSwitch("hideTitleIcon", "Show the icon", "", !s.hideTitleIcon(), [](bool show) {
        setAndSave(&KTSettingsManager::setHideTitleIcon, !show);
        eachWindow([](KTMainWindowController& w) { w.updateWindowTitlebar(); });
    });

    rows.group("Toolbar and tabs");
    bool toolbarShown = false;
    eachWindow([&](KTMainWindowController& w) { toolbarShown = toolbarShown || w.toolbarShown(); });
    rows.addSwitch("ToolbarVisible", "Show the toolbar", "Navigation buttons, the address and the tab strip.",
                   toolbarShown, [](bool show) {
                       eachWindow([&](KTMainWindowController& w) {
                           if (show)
                               w.tabController()->showToolbar();
                           else
                               w.tabController()->hideToolbar();
                       });
                   });
    rows.addSwitch("hideToolbarButton", "Show the toolbar button", "The button that shows and hides the toolbar.",
                   !s.hideToolbarButton(), [](bool show) {
                       setAndSave(&KTSettingsManager::setHideToolbarButton, !show);
                       KTNotificationCenter::defaultCenter().post(names::kShowHideToolbarButton, {},
                                                                  KTJson{{"hide", !show}});
                   });
    rows.addSwitch("selectNewTab", "Select new tabs", "A tab opened from a link comes to the front.", s.selectNewTab(),
                   [](bool v) { setAndSave(&KTSettingsManager::setSelectNewTab, v); });
    rows.addSwitch("returnToPrior", "Return to the previous tab", "Closing a tab selects the one used before it.",
                   s.returnToPrior(), [](bool v) { setAndSave(&KTSettingsManager::setReturnToPrior, v); });
    rows.addSwitch("hideProgressBar", "Show the progress line", "A thin line across the top while a page loads.",
                   !s.hideProgressBar(), [](bool show) {
                       setAndSave(&KTSettingsManager::setHideProgressBar, !show);
                       KTNotificationCenter::defaultCenter().post(names::kHideProgressBar);
                   });
}

} // namespace quilt
