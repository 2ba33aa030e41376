#pragma once

#include "core/config/KTManager.h"
#include "core/config/KTShared.h"

#include <memory>
#include <string>

namespace quilt {

// A JSON store with one process-wide instance. T derives from KTStore<T>
// and takes a Key in its public constructor: only create() can make a Key,
// so every store is loaded from its file before anyone sees it.
template <class T>
class KTStore : public KTManager {
public:
    static T& sharedManager() { return KTShared<T>::get(); }

    static std::unique_ptr<T> create()
    {
        auto store = std::make_unique<T>(Key{});
        store->init();
        return store;
    }

    // Like create(), but the file is read and parsed on a worker thread.
    static std::unique_ptr<T> createLoadingInBackground()
    {
        auto store = std::make_unique<T>(Key{});
        store->loadInBackground();
        return store;
    }

    // Whether the shared instance exists and holds its file's contents:
    // asking for its data now would not wait.
    static bool isSharedReady() { return KTShared<T>::exists() && !sharedManager().isLoading(); }

protected:
    class Key {
        Key() = default;
        friend class KTStore;
    };

    explicit KTStore(std::string fileName = {})
        : KTManager(std::move(fileName))
    {
    }
};

} // namespace quilt
