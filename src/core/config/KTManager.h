#pragma once

#include "core/config/KTJson.h"

#include <memory>
#include <string>

namespace quilt {

// Base of the JSON-file stores: the whole file is one object kept in json();
// a missing, empty or unparsable file gives an empty store; save() writes
// compactly and atomically. Setters never save: whoever changes a store saves it.
class KTManager {
public:
    virtual ~KTManager() = default;
    KTManager(const KTManager&) = delete;
    KTManager& operator=(const KTManager&) = delete;

    KTJson& json() { return json_; }
    const KTJson& json() const { return json_; }
    void setJson(KTJson value) { json_ = std::move(value); }

    virtual void loadJson();
    virtual void save();
    virtual std::string getPath() { return {}; }
    virtual void loadValues() {}
    virtual void updateToNewFormat() {}

protected:
    KTManager() = default;
    // Runs loadJson, loadValues and updateToNewFormat; called by each
    // store's factory once the object is fully constructed.
    void init();

    // Makes a store of type T and initialises it.
    template <class T, class... Args>
    static std::unique_ptr<T> make(Args&&... args)
    {
        std::unique_ptr<T> store(new T(std::forward<Args>(args)...));
        store->init();
        return store;
    }

    // "%@/%@" with the data folder (which ends in "/") and the file name.
    static std::string dataFilePath(const std::string& fileName);

private:
    KTJson json_ = KTJson::object();
};

} // namespace quilt
