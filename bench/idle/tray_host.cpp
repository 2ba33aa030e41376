// tray_host: the part of a desktop panel that menu-bar mode needs, for the
// idle benchmark's headless session: owns org.kde.StatusNotifierWatcher with
// a host registered, accepts items, prints "item NAME" for each, and runs
// until killed. Standard GIO only.
#include <gio/gio.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

const char kXml[] = R"(<node>
  <interface name="org.kde.StatusNotifierWatcher">
    <method name="RegisterStatusNotifierItem"><arg type="s" direction="in"/></method>
    <method name="RegisterStatusNotifierHost"><arg type="s" direction="in"/></method>
    <property name="RegisteredStatusNotifierItems" type="as" access="read"/>
    <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
    <property name="ProtocolVersion" type="i" access="read"/>
  </interface>
</node>)";

std::vector<std::string> items;

void onCall(GDBusConnection*, const char* sender, const char*, const char*, const char* method, GVariant* params,
            GDBusMethodInvocation* invocation, gpointer)
{
    if (std::string(method) == "RegisterStatusNotifierItem") {
        const char* service = nullptr;
        g_variant_get(params, "(&s)", &service);
        // An item may name only its path; the bus name is then the sender's.
        items.push_back(service && service[0] == '/' ? std::string(sender) : std::string(service ? service : ""));
        std::printf("item %s\n", items.back().c_str());
        std::fflush(stdout);
    }
    g_dbus_method_invocation_return_value(invocation, nullptr);
}

GVariant* onGet(GDBusConnection*, const char*, const char*, const char*, const char* name, GError**, gpointer)
{
    std::string property = name;
    if (property == "IsStatusNotifierHostRegistered")
        return g_variant_new_boolean(TRUE);
    if (property == "ProtocolVersion")
        return g_variant_new_int32(0);
    std::vector<const char*> names;
    for (const auto& i : items)
        names.push_back(i.c_str());
    return g_variant_new_strv(names.data(), gssize(names.size()));
}

} // namespace

int main()
{
    GError* error = nullptr;
    GDBusConnection* bus = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, &error);
    if (!bus) {
        std::fprintf(stderr, "tray_host: no session bus: %s\n", error->message);
        return 1;
    }
    GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(kXml, nullptr);
    static const GDBusInterfaceVTable vtable {onCall, onGet, nullptr, {}};
    g_dbus_connection_register_object(bus, "/StatusNotifierWatcher", node->interfaces[0], &vtable, nullptr, nullptr,
                                      nullptr);
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_bus_own_name_on_connection(
        bus, "org.kde.StatusNotifierWatcher", G_BUS_NAME_OWNER_FLAGS_NONE,
        +[](GDBusConnection*, const char*, gpointer) {
            std::printf("ready\n");
            std::fflush(stdout);
        },
        +[](GDBusConnection*, const char*, gpointer loop) {
            std::fprintf(stderr, "tray_host: cannot own org.kde.StatusNotifierWatcher\n");
            g_main_loop_quit(static_cast<GMainLoop*>(loop));
        },
        loop, nullptr);
    g_main_loop_run(loop);
    return 1;
}
