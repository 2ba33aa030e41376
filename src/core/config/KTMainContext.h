#pragma once

#include <glib.h>

#include <functional>

namespace quilt {

// Hands work from a worker thread to a main context. Unlike
// g_main_context_invoke, the work never runs on the calling thread: that
// function runs it at once wherever it can acquire the context, which a
// worker can do whenever the main thread is not inside its loop.
class KTMainContext {
public:
    static void post(GMainContext* context, std::function<void()> work);
};

} // namespace quilt
