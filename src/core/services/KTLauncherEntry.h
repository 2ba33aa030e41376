#pragma once

#include "core/config/GRef.h"
#include "core/config/KTNotificationCenter.h"
#include "core/services/KTBusObject.h"

#include <gio/gio.h>

#include <string>

namespace quilt {

// The badge where docks and task managers read it: the
// com.canonical.Unity.LauncherEntry interface on the session bus. Each
// change of KTDockBadge is broadcast as an Update signal for the app's
// desktop entry, and Query answers a dock that starts later.
class KTLauncherEntry {
public:
    static constexpr const char* kInterface = "com.canonical.Unity.LauncherEntry";
    static constexpr const char* kObjectPath = "/org/quilt/LauncherEntry";

    // `appUri`: "application://<desktop entry id>".
    explicit KTLauncherEntry(std::string appUri);
    ~KTLauncherEntry();
    KTLauncherEntry(const KTLauncherEntry&) = delete;
    KTLauncherEntry& operator=(const KTLauncherEntry&) = delete;

    // The app's entry as quilt-create writes it: "<bundle id>.desktop".
    static std::string appUriFor(const std::string& bundleIdentifier);
    // {"count": int64, "count-visible": bool} for a badge text; new, floating.
    static GVariant* properties(const std::string& text);

    const std::string& appUri() const { return appUri_; }

private:
    static void onBus(GObject*, GAsyncResult* result, gpointer self);
    void registerObject();
    void emitUpdate();

    std::string appUri_;
    std::string text_;
    GRef<GCancellable> cancellable_;
    GRef<GDBusConnection> connection_;
    KTObservation observation_;
    KTBusObject object_;
};

} // namespace quilt
