#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace quilt {

// The folder where the site probe keeps the icons it fetched, for the
// creation window to show and quilt-create to use a moment later. Nothing
// there is needed for long, so every probe prunes it. A folder in its place
// that is not this user's own (a link, a file, someone else's) is neither
// written to nor pruned.
class KTProbeCache {
public:
    struct Limits {
        std::chrono::seconds maxAge {24 * 60 * 60};
        size_t maxFiles = 50;
        std::uint64_t maxBytes = 20u << 20;
    };

    explicit KTProbeCache(std::string folder);
    KTProbeCache(std::string folder, Limits limits);

    const std::string& folder() const { return folder_; }

    // Writes the PNG of the page at `pageUrl`; its path, or nothing with the
    // reason in `error`.
    std::optional<std::string> store(const std::string& pageUrl, const std::string& png, std::string* error) const;

    // Deletes the files older than maxAge, then the oldest beyond maxFiles or
    // maxBytes; never `spare` (the icon just written, still to be used).
    void prune(const std::optional<std::string>& spare = std::nullopt) const;

    // Why the folder cannot be the cache, or nothing (also when it does not
    // exist yet).
    std::optional<std::string> problem() const;

private:
    std::string folder_;
    Limits limits_;
};

} // namespace quilt
