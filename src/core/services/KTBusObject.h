#pragma once

#include "core/config/GRef.h"

#include <gio/gio.h>

namespace quilt {

// One object exported on a D-Bus connection with the first interface of its
// introspection XML, and unexported again when this goes. Each XML text is
// parsed once: it must be a constant that lives as long as the process.
class KTBusObject {
public:
    KTBusObject() = default;
    ~KTBusObject();
    KTBusObject(const KTBusObject&) = delete;
    KTBusObject& operator=(const KTBusObject&) = delete;

    // Called once. False, with *error set, when the path is taken or the bus
    // is gone.
    bool exportAt(GDBusConnection* connection, const char* path, const char* xml,
                  const GDBusInterfaceVTable& vtable, gpointer data, GError** error);
    explicit operator bool() const { return registration_ != 0; }

private:
    GRef<GDBusConnection> connection_;
    unsigned registration_ = 0;
};

} // namespace quilt
