#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace quilt::fuzz {

// The private world of one fuzzing process: HOME and the XDG folders in a
// fresh temporary folder, and a minimal app bundle set as the running app,
// so the stores read and write there and never under the user's home. The
// log is silenced (a rejected file is logged on every input). Removed at exit.
class KTFuzzWorld {
public:
    static KTFuzzWorld& get();

    const std::string& home() const { return home_; }
    const std::string& bundlePath() const { return bundle_; }
    // The app's data folder ("%@/Quilt/%@/"), where most stores live.
    std::string dataFolder() const;
    std::string resourcesFolder() const { return bundle_ + "/Contents/Resources"; }

    // Puts the bytes at path as they are, making its folder first.
    void writeFile(const std::string& path, std::string_view bytes) const;
    // Drops every shared store and every file the last input left in the
    // data folder (a rejected file is renamed aside, and those would pile
    // up), so each input meets a first launch.
    void reset() const;

private:
    KTFuzzWorld();
    std::string root_, home_, bundle_, uniqueId_;
};

inline std::string_view bytesOf(const uint8_t* data, size_t size)
{
    return {reinterpret_cast<const char*>(data), size};
}

} // namespace quilt::fuzz
