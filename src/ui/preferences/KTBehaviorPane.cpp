#include "ui/preferences/KTBehaviorPane.h"

#include "core/config/KTNotificationCenter.h"
#include "core/config/KTNotificationNames.h"
#include "core/config/KTSettingsManager.h"
#include "core/config/KTUserDefaults.h"
#include "core/config/KTWebPageZoomManager.h"
#include "core/config/KTBehaviorManager.h"
#include "core/web/KTUserAgents.h"
#include "ui/windows/KTMainWindowController.h"

#include <cmath>

namespace quilt {

namespace {
KTSettingsManager& settings() { return KTSettingsManager::sharedManager(); }

// A page switch: stored, saved, then every open page re-reads it.
void pageSwitch(void (KTSettingsManager::*set)(bool), const char* notification, bool v)
{
    (settings().*set)(v);
    settings().saveSettings();
    KTNotificationCenter::defaultCenter().post(notification);
}

std::string currentAgent()
{
    // The menu's choice when the app runs, else what a new page would get.
    if (GApplication* app = g_application_get_default())
        if (GVariant* state = g_action_group_get_action_state(G_ACTION_GROUP(app), "user-agent")) {
            std::string name = g_variant_get_string(state, nullptr);
            g_variant_unref(state);
            return name;
        }
    return KTUserAgents::agentNameForNewPage(KTBehaviorManager::sharedManager().mobileVersion(),
                                             KTUserDefaults::standardUserDefaults());
}

void chooseAgent(const std::string& name)
{
    // Through the menu's own action, so the menu, the pages and the stored
    // choice stay one.
    GApplication* app = g_application_get_default();
    if (app && g_action_group_has_action(G_ACTION_GROUP(app), "user-agent")) {
        g_action_group_change_action_state(G_ACTION_GROUP(app), "user-agent", g_variant_new_string(name.c_str()));
        return;
    }
    KTNotificationCenter::defaultCenter().post(names::kChangeUserAgent, name);
    KTUserAgents::setLastUserAgent(KTUserDefaults::standardUserDefaults(), name);
}

void applyZoom(double factor)
{
    auto& zoom = KTWebPageZoomManager::sharedManager();
    zoom.setZoomValue(factor);
    zoom.save();
    for (auto& w : KTMainWindowController::mainWindows())
        for (size_t i = 0; i < w->tabController()->tabsCount(); ++i)
            if (KTWebViewController* page = w->tabController()->pageAt(i))
                page->setCurrentZoomFactor(factor);
}
} // namespace

GtkWidget* KTBehaviorPane::widget()
{
    if (!rows_)
        build();
    return rows_->page();
}

void KTBehaviorPane::build()
{
    rows_ = std::make_unique<KTPreferencesRows>();
    auto& rows = *rows_;
    auto& s = settings();

    rows.group("Pages");
    rows.addSwitch("enableJavaScript", "JavaScript", "Most sites need it.", s.enableJavaScript(), [](bool v) {
        pageSwitch(&KTSettingsManager::setEnableJavaScript, names::kEnableJavaScript, v);
    });
    rows.addSwitch("blockPopupWindoww", "Block pop-up windows", "", s.blockPopupWindow(), [](bool v) {
        pageSwitch(&KTSettingsManager::setBlockPopupWindow, names::kBlockPopupWindow, v);
    });
    rows.addSwitch("enablePlugins", "Plug-ins", "", s.enablePlugins(), [](bool v) {
        pageSwitch(&KTSettingsManager::setEnablePlugins, names::kEnablePlugins, v);
    });
    rows.addSwitch("blockAds", "Block advertising and trackers", "With the rule list that came with the app.",
                   s.blockAds(), [](bool v) { pageSwitch(&KTSettingsManager::setBlockAds, names::kBlockAds, v); });
    rows.addChoice("allowCookies", "Accept cookies", "",
                   {"Always", "Never", "Only from the site itself"}, static_cast<int>(std::min(s.cookiesAllow(), 2ul)),
                   [](int v) {
                       if (v < 0)
                           return;
                       settings().setCookiesAllow(static_cast<unsigned long>(v));
                       settings().saveSettings();
                   });

    std::vector<std::string> agents(KTUserAgents::kNames.begin(), KTUserAgents::kNames.end());
    const std::string agent = currentAgent();
    int active = 0;
    for (size_t i = 0; i < agents.size(); ++i)
        if (agents[i] == agent)
            active = static_cast<int>(i);
    rows.addChoice("lastUserAnget", "Identify as", "The browser the app says it is to sites.", agents, active,
                   [agents](int v) {
                       if (v >= 0 && static_cast<size_t>(v) < agents.size())
                           chooseAgent(agents[static_cast<size_t>(v)]);
                   });
    rows.addSpin("refreshTimeInterval", "Reload every", "Seconds between automatic reloads; 0 never reloads.", 0,
                 86400, 1, s.refreshTimeInterval(), [](double v) {
                     settings().setRefreshTimeInterval(v);
                     settings().saveSettings();
                     KTNotificationCenter::defaultCenter().post(names::kRefreshTimeIntervalChange);
                 });

    rows.group("Text");
    GtkWidget* font = gtk_font_button_new();
    gtk_font_chooser_set_level(GTK_FONT_CHOOSER(font),
                               GtkFontChooserLevel(GTK_FONT_CHOOSER_LEVEL_FAMILY | GTK_FONT_CHOOSER_LEVEL_SIZE));
    if (auto f = s.standardFont()) {
        std::string description = f->family + (f->size > 0 ? " " + std::to_string(static_cast<int>(f->size)) : "");
        gtk_font_chooser_set_font(GTK_FONT_CHOOSER(font), description.c_str());
    }
    g_signal_connect(font, "font-set", G_CALLBACK(+[](GtkFontButton* b, gpointer) {
                         PangoFontDescription* d = gtk_font_chooser_get_font_desc(GTK_FONT_CHOOSER(b));
                         if (!d)
                             return;
                         const char* family = pango_font_description_get_family(d);
                         double size = pango_font_description_get_size(d) / double(PANGO_SCALE);
                         settings().setStandardFont(KTFont {family ? family : "", size});
                         settings().saveSettings();
                         pango_font_description_free(d);
                         KTNotificationCenter::defaultCenter().post(names::kRefreshFont);
                     }),
                     nullptr);
    rows.row("fontName", "Standard font", "Pages that name no font of their own use this one.", font);
    double zoom = KTWebPageZoomManager::sharedManager().zoomValue().value_or(1.0);
    rows.addSpin("webpagezoom", "Zoom", "Percent, for every page of the app.", 50, 300, 10, std::round(zoom * 100),
                 [](double percent) { applyZoom(percent / 100.0); });

    rows.group("Downloads");
    GtkWidget* folder = gtk_file_chooser_button_new("Downloads Folder", GTK_FILE_CHOOSER_ACTION_SELECT_FOLDER);
    gtk_file_chooser_set_filename(GTK_FILE_CHOOSER(folder), s.pathToDownloadsFolder().c_str());
    gtk_widget_set_size_request(folder, 200, -1);
    g_signal_connect(folder, "file-set", G_CALLBACK(+[](GtkFileChooserButton* b, gpointer) {
                         char* path = gtk_file_chooser_get_filename(GTK_FILE_CHOOSER(b));
                         if (path) {
                             settings().setPathToDownloadFolder(path);
                             settings().saveSettings();
                         }
                         g_free(path);
                     }),
                     nullptr);
    rows.row("downloads", "Save downloads in", "", folder);
}

} // namespace quilt
