#pragma once

#include "core/config/KTJson.h"

#include <functional>
#include <memory>
#include <optional>
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
    void whenLoaded(std::function<void(KTJson&)> change) { afterLoading([this, change] { change(json_); }); }

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

    // What a store makes of its file. The base keeps the JSON value in
    // json(); a store that keeps its contents in a form of its own (the
    // history, too large for a general tree) overrides parser(), adopt() and
    // serialized(), and leaves json() alone.
    struct Contents {
        virtual ~Contents() = default;
    };
    // Makes the contents of a file's text (never empty; the parser may keep
    // or change it), or returns null with the reason in *error. It runs on
    // the loading thread, so it is a plain function that never sees the store.
    using Parser = std::unique_ptr<Contents> (*)(std::string& text, std::string* error);
    virtual Parser parser() const;
    // Takes in what the parser made; null empties the store.
    virtual void adopt(std::unique_ptr<Contents> contents);
    // The file's text as save() writes it; nullopt writes nothing.
    virtual std::optional<std::string> serialized() const;
    // Runs change now, or once a background load is taken in, in order.
    void afterLoading(std::function<void()> change);

private:
    struct Loaded;
    struct Load;
    struct JsonContents;
    // Reads and parses a file; safe on any thread.
    static Loaded read(const std::string& path, Parser parse);
    static std::unique_ptr<Contents> parseJson(std::string& text, std::string* error);
    void takeIn(Loaded loaded);
    // Empties the store after an unusable file and renames the file aside.
    void setAside(const std::string& why);

    mutable std::unique_ptr<Load> load_;
    KTJson json_ = KTJson::object();
    std::string fileName_;
    std::string path_;
};

} // namespace quilt
