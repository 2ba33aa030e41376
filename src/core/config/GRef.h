#pragma once

#include <glib-object.h>

#include <utility>

namespace quilt {

// Owning reference to a GObject of the C APIs (GTK, WebKit, GIO): unrefs on
// destruction, copies take another reference.
template <class T>
class GRef {
public:
    GRef() = default;
    // Adopts a reference the caller owns (a "transfer full" return value).
    static GRef adopt(T* p)
    {
        GRef r;
        r.p_ = p;
        return r;
    }
    // Takes a new reference to an object the caller does not own.
    static GRef retain(T* p)
    {
        if (p)
            g_object_ref(p);
        return adopt(p);
    }
    GRef(const GRef& o) : p_(o.p_)
    {
        if (p_)
            g_object_ref(p_);
    }
    GRef(GRef&& o) noexcept : p_(std::exchange(o.p_, nullptr)) {}
    GRef& operator=(GRef o) noexcept
    {
        std::swap(p_, o.p_);
        return *this;
    }
    ~GRef()
    {
        if (p_)
            g_object_unref(p_);
    }
    T* get() const { return p_; }
    T* release() { return std::exchange(p_, nullptr); }
    explicit operator bool() const { return p_ != nullptr; }
    T* operator->() const { return p_; }

private:
    T* p_ = nullptr;
};

} // namespace quilt
