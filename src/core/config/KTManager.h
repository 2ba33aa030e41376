#pragma once

#include "core/config/KTJson.h"

#include <functional>
#include <memory>
#include <string>

namespace quilt {

// Base of the JSON-file stores: the whole file is one object kept in json();
// a missing, empty or unparsable file gives an empty store; save() writes
// compactly and atomically. Setters never save: whoever changes a store saves it.
//
// A store is used from one thread. A large one may read and parse its file on
// a worker thread instead (loadInBackground()): json(), setJson() and save()
// then wait for the worker, while changes given to whenLoaded() are kept in
// order and applied to the file's contents once they are in.
class KTManager {
public:
    virtual ~KTManager();
    KTManager(const KTManager&) = delete;
    KTManager& operator=(const KTManager&) = delete;

    KTJson& json()
    {
        finishLoading();
        return json_;
    }
    const KTJson& json() const
    {
        finishLoading();
        return json_;
    }
    void setJson(KTJson value)
    {
        finishLoading();
        json_ = std::move(value);
    }

    // Starts reading and parsing the file on a worker thread; what init()
    // does after loading the file happens when the result is taken in.
    void loadInBackground();
    bool isLoading() const { return load_ != nullptr; }
    // Takes in the worker's result, waiting for it if need be.
    void finishLoading() const;
    // Applies change to json() now, or once a background load is taken in.
    void whenLoaded(std::function<void(KTJson&)> change);

    virtual void loadJson();
    virtual void save();
    // The data folder's file named at construction, worked out on first use
    // and kept; empty without a file name.
    virtual std::string getPath();
    virtual void loadValues() {}
    virtual void updateToNewFormat() {}

protected:
    // A store without a file name overrides getPath().
    explicit KTManager(std::string fileName = {});
    // Runs loadJson, loadValues and updateToNewFormat; called by each
    // store's factory once the object is fully constructed.
    void init();

    // "%@/%@" with the data folder (which ends in "/") and the file name.
    static std::string dataFilePath(const std::string& fileName);

private:
    struct Loaded;
    struct Load;
    // Reads and parses a file; safe on any thread.
    static Loaded read(const std::string& path);
    void takeIn(Loaded loaded);
    // Empties the store after an unusable file and renames the file aside.
    void setAside(const std::string& why);

    mutable std::unique_ptr<Load> load_;
    KTJson json_ = KTJson::object();
    std::string fileName_;
    std::string path_;
};

} // namespace quilt
