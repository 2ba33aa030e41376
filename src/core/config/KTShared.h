#pragma once

#include <memory>

namespace quilt {

// The process-wide instance of a store: made on first use by T::createShared()
// when T has one (a store that loads in the background), else by T::create(),
// and kept until exit. reset() exists for tests that need a fresh start.
template <class T>
class KTShared {
public:
    static T& get()
    {
        auto& s = slot();
        if (!s) {
            if constexpr (requires { T::createShared(); })
                s = T::createShared();
            else
                s = T::create();
        }
        return *s;
    }
    static bool exists() { return slot() != nullptr; }
    static void reset() { slot().reset(); }

private:
    static std::unique_ptr<T>& slot()
    {
        static std::unique_ptr<T> s;
        return s;
    }
};

} // namespace quilt
