#pragma once

#include "core/config/GRef.h"
#include "core/config/KTSignal.h"
#include "core/menubar/KTMainMenu.h"
#include "core/services/KTBusObject.h"

#include <gio/gio.h>

#include <string>
#include <vector>

namespace quilt {

// A flat menu exported over D-Bus as com.canonical.dbusmenu, the menu tray
// hosts show for a StatusNotifierItem. Items are the main menu's commands:
// choosing one activates the application action of the same name, and an
// item is greyed while its action is missing or disabled.
class KTDBusMenu {
public:
    KTDBusMenu(GDBusConnection* connection, const std::string& objectPath, std::vector<KTMenuItem> items,
               GActionGroup* actions);
    ~KTDBusMenu();
    KTDBusMenu(const KTDBusMenu&) = delete;
    KTDBusMenu& operator=(const KTDBusMenu&) = delete;

    bool exported() const { return static_cast<bool>(object_); }
    const std::vector<KTMenuItem>& items() const { return items_; }
    // Runs the item with this id (1 for the first) as a click would.
    void activate(int id);

private:
    static void onMethod(GDBusConnection*, const char* sender, const char* path, const char* iface,
                         const char* method, GVariant* params, GDBusMethodInvocation* invocation, gpointer self);
    static GVariant* onProperty(GDBusConnection*, const char* sender, const char* path, const char* iface,
                                const char* name, GError** error, gpointer self);
    GVariant* properties(int id) const;
    GVariant* layout(int parent, int depth) const;
    // Actions come and go (preferences may be added later): hosts re-read.
    void layoutChanged(const char* action);

    GRef<GDBusConnection> connection_;
    std::string path_;
    std::vector<KTMenuItem> items_;
    GRef<GActionGroup> actions_;
    unsigned revision_ = 1;
    std::vector<KTSignal> signals_;
    // Last: unexported before the rest goes.
    KTBusObject object_;
};

} // namespace quilt
