#include "core/services/KTBusObject.h"

#include <map>
#include <mutex>

namespace quilt {

namespace {
GDBusInterfaceInfo* interfaceOf(const char* xml)
{
    static std::mutex lock;
    static std::map<const char*, GDBusNodeInfo*> parsed;
    std::lock_guard<std::mutex> hold(lock);
    GDBusNodeInfo*& node = parsed[xml];
    if (!node)
        node = g_dbus_node_info_new_for_xml(xml, nullptr);
    return node->interfaces[0];
}
} // namespace

KTBusObject::~KTBusObject()
{
    if (registration_)
        g_dbus_connection_unregister_object(connection_.get(), registration_);
}

bool KTBusObject::exportAt(GDBusConnection* connection, const char* path, const char* xml,
                           const GDBusInterfaceVTable& vtable, gpointer data, GError** error)
{
    connection_ = GRef<GDBusConnection>::retain(connection);
    registration_ = g_dbus_connection_register_object(connection, path, interfaceOf(xml), &vtable, data, nullptr,
                                                      error);
    return registration_ != 0;
}

} // namespace quilt
