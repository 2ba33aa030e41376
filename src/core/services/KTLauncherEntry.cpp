#include "core/services/KTLauncherEntry.h"

#include "core/config/KTLog.h"
#include "core/config/KTNotificationNames.h"
#include "core/menubar/KTDockBadge.h"

namespace quilt {

namespace {

const char* const kIntrospection = R"(<node>
  <interface name="com.canonical.Unity.LauncherEntry">
    <method name="Query">
      <arg type="s" name="app_uri" direction="out"/>
      <arg type="a{sv}" name="properties" direction="out"/>
    </method>
    <signal name="Update">
      <arg type="s" name="app_uri"/>
      <arg type="a{sv}" name="properties"/>
    </signal>
  </interface>
</node>)";

} // namespace

KTLauncherEntry::KTLauncherEntry(std::string appUri)
    : appUri_(std::move(appUri))
    , text_(KTDockBadge::shared().text())
    , cancellable_(GRef<GCancellable>::adopt(g_cancellable_new()))
{
    observation_ = KTObservation(names::kDockBadgeChanged, [this](const KTNotification& note) {
        text_ = note.userInfo.value("text", std::string());
        emitUpdate();
    });
    g_bus_get(G_BUS_TYPE_SESSION, cancellable_.get(), onBus, this);
}

KTLauncherEntry::~KTLauncherEntry()
{
    g_cancellable_cancel(cancellable_.get());
}

std::string KTLauncherEntry::appUriFor(const std::string& bundleIdentifier)
{
    return "application://" + bundleIdentifier + ".desktop";
}

GVariant* KTLauncherEntry::properties(const std::string& text)
{
    const long count = KTDockBadge::countOf(text);
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("a{sv}"));
    g_variant_builder_add(&builder, "{sv}", "count", g_variant_new_int64(count));
    g_variant_builder_add(&builder, "{sv}", "count-visible", g_variant_new_boolean(count > 0));
    return g_variant_builder_end(&builder);
}

void KTLauncherEntry::onBus(GObject*, GAsyncResult* result, gpointer data)
{
    GError* error = nullptr;
    GDBusConnection* connection = g_bus_get_finish(result, &error);
    if (!connection) {
        // Cancelled when the entry went first; otherwise there is no
        // session bus and no dock to tell.
        if (!g_error_matches(error, G_IO_ERROR, G_IO_ERROR_CANCELLED))
            KTLog::line(std::string("error: ") + error->message);
        g_error_free(error);
        return;
    }
    auto* self = static_cast<KTLauncherEntry*>(data);
    self->connection_ = GRef<GDBusConnection>::adopt(connection);
    self->registerObject();
    if (!self->text_.empty())
        self->emitUpdate();
}

void KTLauncherEntry::registerObject()
{
    static const GDBusInterfaceVTable vtable = {
        +[](GDBusConnection*, const char*, const char*, const char*, const char* method, GVariant*,
            GDBusMethodInvocation* invocation, gpointer data) {
            auto* self = static_cast<KTLauncherEntry*>(data);
            if (g_strcmp0(method, "Query") == 0)
                g_dbus_method_invocation_return_value(
                    invocation, g_variant_new("(s@a{sv})", self->appUri_.c_str(), properties(self->text_)));
        },
        nullptr, nullptr, {}};
    GError* error = nullptr;
    if (!object_.exportAt(connection_.get(), kObjectPath, kIntrospection, vtable, this, &error)) {
        // Another entry of this process holds the path: signals still go out.
        KTLog::debug(std::string("launcher entry: ") + error->message);
        g_error_free(error);
    }
}

void KTLauncherEntry::emitUpdate()
{
    if (!connection_)
        return; // sent once the bus is there
    g_dbus_connection_emit_signal(connection_.get(), nullptr, kObjectPath, kInterface, "Update",
                                  g_variant_new("(s@a{sv})", appUri_.c_str(), properties(text_)), nullptr);
}

} // namespace quilt
