#pragma once

#include "core/config/KTJson.h"

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
    // The data folder's file named at construction, worked out on first use
    // and kept; empty without a file name.
    virtual std::string getPath();
    virtual void loadValues() {}
    virtual void updateToNewFormat() {}

protected:
    // A store without a file name overrides getPath().
    explicit KTManager(std::string fileName = {})
        : fileName_(std::move(fileName))
    {
    }
    // Runs loadJson, loadValues and updateToNewFormat; called by each
    // store's factory once the object is fully constructed.
    void init();

    // "%@/%@" with the data folder (which ends in "/") and the file name.
    static std::string dataFilePath(const std::string& fileName);

private:
    // Empties the store after an unusable file and renames the file aside.
    void setAside(const std::string& why);

    KTJson json_ = KTJson::object();
    std::string fileName_;
    std::string path_;
};

} // namespace quilt
