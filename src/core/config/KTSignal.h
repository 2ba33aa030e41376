#pragma once

#include <glib-object.h>

#include <utility>

namespace quilt {

// A signal connection that disconnects when its owner dies. It watches the
// instance weakly, so an object destroyed first (a widget closed with its
// window) is simply forgotten.
class KTSignal {
public:
    KTSignal() = default;
    KTSignal(gpointer instance, const char* signal, GCallback callback, gpointer data,
             GConnectFlags flags = GConnectFlags(0))
        : instance_(G_OBJECT(instance))
        , id_(g_signal_connect_data(instance, signal, callback, data, nullptr, flags))
    {
        g_object_add_weak_pointer(instance_, reinterpret_cast<gpointer*>(&instance_));
    }
    KTSignal(KTSignal&& o) noexcept { *this = std::move(o); }
    KTSignal& operator=(KTSignal&& o) noexcept
    {
        if (this != &o) {
            disconnect();
            instance_ = o.instance_;
            id_ = o.id_;
            if (instance_) {
                g_object_remove_weak_pointer(instance_, reinterpret_cast<gpointer*>(&o.instance_));
                g_object_add_weak_pointer(instance_, reinterpret_cast<gpointer*>(&instance_));
            }
            o.instance_ = nullptr;
            o.id_ = 0;
        }
        return *this;
    }
    KTSignal(const KTSignal&) = delete;
    KTSignal& operator=(const KTSignal&) = delete;
    ~KTSignal() { disconnect(); }

    void disconnect()
    {
        if (instance_) {
            if (id_ && g_signal_handler_is_connected(instance_, id_))
                g_signal_handler_disconnect(instance_, id_);
            g_object_remove_weak_pointer(instance_, reinterpret_cast<gpointer*>(&instance_));
        }
        instance_ = nullptr;
        id_ = 0;
    }
    bool connected() const { return instance_ && id_; }

private:
    GObject* instance_ = nullptr;
    gulong id_ = 0;
};

// A GLib main-loop source (timeout or idle) removed when its owner dies.
class KTSource {
public:
    KTSource() = default;
    explicit KTSource(guint id) : id_(id) {}
    KTSource(KTSource&& o) noexcept : id_(std::exchange(o.id_, 0)) {}
    KTSource& operator=(KTSource&& o) noexcept
    {
        if (this != &o) {
            reset();
            id_ = std::exchange(o.id_, 0);
        }
        return *this;
    }
    ~KTSource() { reset(); }
    void reset()
    {
        if (id_)
            g_source_remove(id_);
        id_ = 0;
    }
    // For a source that removed itself by returning G_SOURCE_REMOVE.
    void forget() { id_ = 0; }
    bool active() const { return id_ != 0; }

private:
    guint id_ = 0;
};

} // namespace quilt
