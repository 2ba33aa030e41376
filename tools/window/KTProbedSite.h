#pragma once

#include <optional>
#include <string>
#include <vector>

namespace quilt {

// What `quilt-create --probe URL` found out about a site: one JSON object on
// its standard output. Only the fields the creation window uses are kept.
struct KTProbedSite {
    std::string url;
    std::string name;
    std::string shortName;
    std::optional<std::string> iconFile; // a PNG the probe saved, if any
    std::vector<std::string> warnings;

    // nullopt for anything but such an object (a crash, an older tool that
    // does not know --probe, stray output): the window then simply fills
    // nothing in.
    static std::optional<KTProbedSite> parse(const std::string& output);
};

} // namespace quilt
