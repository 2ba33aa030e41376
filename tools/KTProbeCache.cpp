#include "KTProbeCache.h"

#include "core/config/KTFileUtil.h"

#include <glib.h>

#include <algorithm>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace quilt {

KTProbeCache::KTProbeCache(std::string folder)
    : KTProbeCache(std::move(folder), Limits {})
{
}

KTProbeCache::KTProbeCache(std::string folder, Limits limits)
    : folder_(std::move(folder))
    , limits_(limits)
{
}

std::optional<std::string> KTProbeCache::problem() const
{
    struct stat st {};
    if (::lstat(folder_.c_str(), &st) != 0)
        return std::nullopt;
    if (S_ISLNK(st.st_mode))
        return "it is a symbolic link";
    if (!S_ISDIR(st.st_mode))
        return "it is not a folder";
    if (st.st_uid != ::getuid())
        return "it belongs to another user";
    return std::nullopt;
}

std::optional<std::string> KTProbeCache::store(const std::string& pageUrl, const std::string& png,
                                               std::string* error) const
{
    std::string why;
    auto fail = [&](const std::string& text) -> std::optional<std::string> {
        if (error)
            *error = text;
        return std::nullopt;
    };
    if (auto p = problem())
        return fail(*p + ", so it is left alone");
    if (!KTFileUtil::makeDirectories(folder_, &why))
        return fail(why);
    // One file a page: probing a site again replaces its icon.
    gchar* key = g_compute_checksum_for_string(G_CHECKSUM_SHA256, pageUrl.c_str(), -1);
    const std::string path = folder_ + "/" + std::string(key).substr(0, 32) + ".png";
    g_free(key);
    if (!KTFileUtil::writeAtomically(path, png, &why))
        return fail(why);
    return path;
}

void KTProbeCache::prune(const std::optional<std::string>& spare) const
{
    if (problem())
        return;
    // Opened without following a link, and everything below done relative
    // to it, so a folder swapped for a link meanwhile is not pruned either.
    const int dirFd = ::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (dirFd < 0)
        return;
    DIR* dir = ::fdopendir(dirFd);
    if (!dir) {
        ::close(dirFd);
        return;
    }
    struct File {
        std::string name;
        time_t mtime;
        std::uint64_t size;
    };
    const std::string spareName = spare ? KTFileUtil::lastComponent(*spare) : std::string();
    std::vector<File> files;
    size_t count = 0;
    std::uint64_t bytes = 0;
    while (const dirent* entry = ::readdir(dir)) {
        struct stat st {};
        // Only plain files: anything else in the folder was not put there by
        // the probe.
        if (::fstatat(dirFd, entry->d_name, &st, AT_SYMLINK_NOFOLLOW) != 0 || !S_ISREG(st.st_mode))
            continue;
        if (entry->d_name == spareName) {
            ++count;
            bytes += static_cast<std::uint64_t>(st.st_size);
            continue;
        }
        files.push_back({entry->d_name, st.st_mtime, static_cast<std::uint64_t>(st.st_size)});
    }
    // Newest first: the sites probed last are the ones likely to be made.
    std::sort(files.begin(), files.end(),
              [](const File& a, const File& b) { return a.mtime != b.mtime ? a.mtime > b.mtime : a.name < b.name; });
    const time_t cutoff = ::time(nullptr) - static_cast<time_t>(limits_.maxAge.count());
    for (const auto& file : files) {
        if (file.mtime >= cutoff && count < limits_.maxFiles && bytes + file.size <= limits_.maxBytes) {
            ++count;
            bytes += file.size;
        } else {
            ::unlinkat(dirFd, file.name.c_str(), 0);
        }
    }
    ::closedir(dir);
}

} // namespace quilt
