#pragma once

#include "core/config/KTJson.h"

#include <functional>
#include <string>
#include <vector>

namespace quilt {

// Writes a made app's first files into its data folder: "settings.json"
// and "whitelist.json". It remembers what it wrote (a SHA-256 per file in
// "quilt-create.json"), so making the app again replaces only files that are
// missing or still exactly as it left them: whatever the user or the app
// has changed since is kept.
class KTAppDataWriter {
public:
    static constexpr const char* kRecordFile = "quilt-create.json";

    struct AllowList {
        bool allowAll = false;
        bool allowPatterns = true;
        bool allowSubdomains = false;
        std::vector<std::string> patterns;
    };

    // dataFolder: the app's data folder ("%@/Quilt/%@/"). Reads the record
    // of what was written before.
    explicit KTAppDataWriter(std::string dataFolder);

    // Files the app keeps in its bundle and the user may change there (its
    // icon, its scripts) are remembered under a name too: whether data is
    // exactly what was last recorded under that name ...
    bool isAsWritten(const std::string& name, std::string_view data) const;
    // ... and recording it (saved by write()).
    void recordWritten(const std::string& name, std::string_view data);

    // Throws KTCreateFailure (I/O) when a file cannot be written. kept lists
    // the files left alone because they were changed since.
    void write(const KTJson& settings, const AllowList& allowList, std::vector<std::string>* kept);

    // The files this writer may touch, to save and restore around a rollback.
    std::vector<std::string> managedPaths() const;

    static std::string sha256(std::string_view data);

private:
    bool mayReplace(const std::string& file) const;
    std::string path(const std::string& file) const { return folder_ + "/" + file; }

    std::string folder_;
    KTJson record_;
};

} // namespace quilt
