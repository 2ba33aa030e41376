#pragma once

#include "KTFuzzWorld.h"

#include "core/config/KTJson.h"

#include <cstdlib>
#include <functional>
#include <memory>

namespace quilt::fuzz {

// One input as the whole file of a JSON store: the store is loaded, used as
// the app uses it, saved, and loaded again; the second load must find what
// the first one saved (a store never loses what it read).
template <class Store>
void fuzzStore(const std::string& path, std::string_view bytes, const std::function<void(Store&)>& use)
{
    auto& world = KTFuzzWorld::get();
    world.reset();
    world.writeFile(path, bytes);
    auto store = Store::create();
    use(*store);
    store->save();
    const KTJson saved = store->json();
    store.reset();
    auto reloaded = Store::create();
    if (reloaded->json() != saved)
        std::abort();
    use(*reloaded);
}

} // namespace quilt::fuzz
