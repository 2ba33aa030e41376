#pragma once

#include "core/config/GRef.h"
#include "core/menubar/KTIconPixmap.h"
#include "core/services/KTBusObject.h"
#include "ui/menubar/KTDBusMenu.h"

#include <gdk-pixbuf/gdk-pixbuf.h>
#include <gio/gio.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilt {

// The app's item in the desktop's tray: a StatusNotifierItem on the session
// bus, registered with the org.kde.StatusNotifierWatcher (again whenever a
// watcher appears), its menu exported as com.canonical.dbusmenu. The icon
// goes out as pixels (IconPixmap) with the badge drawn on it, and as a
// theme name for hosts that only take names.
class KTStatusBarItemView {
public:
    static constexpr const char* kItemPath = "/StatusNotifierItem";
    static constexpr const char* kMenuPath = "/MenuBar";

    // Whether a tray can show the item: a watcher on the session bus with a
    // host registered. `why` says what is missing.
    static bool hostAvailable(std::string* why = nullptr);

    // `id` and `title` name the item to hosts; `menuItems` are run through
    // the application's actions.
    KTStatusBarItemView(const std::string& id, const std::string& title, std::vector<KTMenuItem> menuItems,
                        GActionGroup* actions);
    ~KTStatusBarItemView();
    KTStatusBarItemView(const KTStatusBarItemView&) = delete;
    KTStatusBarItemView& operator=(const KTStatusBarItemView&) = delete;

    // A left click (Activate) and a request for the menu (ContextMenu,
    // SecondaryActivate), with the screen point the host reports.
    std::function<void(int x, int y)> action;
    std::function<void(int x, int y)> rightAction;

    void setImage(GdkPixbuf* image, const std::string& iconName);
    // The unread count on the icon: a red dot with the text; none when empty.
    void setBadge(const std::string& text);
    const std::string& badge() const { return badge_; }
    const std::string& busName() const { return busName_; }
    KTDBusMenu* menu() const { return menu_.get(); }

private:
    static void onMethod(GDBusConnection*, const char*, const char*, const char*, const char* method,
                         GVariant* params, GDBusMethodInvocation* invocation, gpointer self);
    static GVariant* onProperty(GDBusConnection*, const char*, const char*, const char*, const char* name,
                                GError**, gpointer self);
    void registerWithWatcher();
    void renderIcon();
    GVariant* pixmaps() const;

    GRef<GDBusConnection> connection_;
    std::string id_, title_, iconName_, busName_, badge_;
    GRef<GdkPixbuf> image_;
    std::vector<KTIconPixmap> icons_;
    std::unique_ptr<KTDBusMenu> menu_;
    KTBusObject object_;
    unsigned nameOwner_ = 0;
    unsigned watcherWatch_ = 0;
};

} // namespace quilt
