#include "core/config/KTFileUtil.h"

#include <glib.h>

#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace quilt {

namespace {
void setError(std::string* error, const std::string& what, int err)
{
    if (error)
        *error = what + ": " + std::strerror(err);
}
} // namespace

std::optional<std::string> KTFileUtil::read(const std::string& path, std::string* error, size_t maxSize,
                                            size_t padding)
{
    // Non-blocking so that opening a FIFO returns at once; reads of a
    // regular file are not affected.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        setError(error, path, errno);
        return std::nullopt;
    }
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        if (error)
            *error = path + ": not a regular file";
        ::close(fd);
        return std::nullopt;
    }
    auto tooLarge = [&] {
        if (error)
            *error = path + ": larger than " + std::to_string(maxSize >> 20) + " MB, not read";
        ::close(fd);
        return std::nullopt;
    };
    if (static_cast<uint64_t>(st.st_size) > maxSize)
        return tooLarge();
    std::string data;
    data.reserve(static_cast<size_t>(st.st_size) + padding);
    preferHugePages(data.data(), data.capacity());
    char buf[65536];
    for (;;) {
        ssize_t n = ::read(fd, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            setError(error, path, errno);
            ::close(fd);
            return std::nullopt;
        }
        if (n == 0)
            break;
        // The file may grow while it is read.
        if (data.size() + static_cast<size_t>(n) > maxSize)
            return tooLarge();
        data.append(buf, static_cast<size_t>(n));
    }
    ::close(fd);
    return data;
}

void KTFileUtil::preferHugePages(void* data, size_t size)
{
    constexpr uintptr_t kHuge = 2u << 20;
    const uintptr_t begin = (reinterpret_cast<uintptr_t>(data) + kHuge - 1) & ~(kHuge - 1);
    const uintptr_t end = (reinterpret_cast<uintptr_t>(data) + size) & ~(kHuge - 1);
    if (end > begin)
        ::madvise(reinterpret_cast<void*>(begin), end - begin, MADV_HUGEPAGE);
}

std::optional<std::string> KTFileUtil::setAside(const std::string& path, std::string* error)
{
    GDateTime* now = g_date_time_new_now_local();
    gchar* stamp = g_date_time_format(now, "%Y%m%d-%H%M%S");
    std::string base = path + ".corrupt-" + stamp;
    g_free(stamp);
    g_date_time_unref(now);
    std::string target = base;
    for (int i = 2; exists(target) && i < 100; ++i)
        target = base + "-" + std::to_string(i);
    if (::rename(path.c_str(), target.c_str()) != 0) {
        setError(error, path, errno);
        return std::nullopt;
    }
    return target;
}

namespace {
// ".<name>.XXXXXX" files of saves cut short (power loss, SIGKILL) that are
// older than any save still running could be.
void removeStaleTemporaries(const std::string& folder, const std::string& name)
{
    DIR* dir = ::opendir(folder.c_str());
    if (!dir)
        return;
    const std::string prefix = "." + name + ".";
    const time_t cutoff = ::time(nullptr) - 600;
    while (dirent* entry = ::readdir(dir)) {
        std::string_view n(entry->d_name);
        if (n.size() != prefix.size() + 6 || n.substr(0, prefix.size()) != prefix)
            continue;
        std::string full = folder + "/" + std::string(n);
        struct stat st {};
        if (::lstat(full.c_str(), &st) == 0 && S_ISREG(st.st_mode) && st.st_mtime < cutoff)
            ::unlink(full.c_str());
    }
    ::closedir(dir);
}
} // namespace

bool KTFileUtil::writeAtomically(const std::string& path, std::string_view data, std::string* error, int mode)
{
    std::string tmpl = parentFolder(path) + "/." + lastComponent(path) + ".XXXXXX";
    int fd = ::mkostemp(tmpl.data(), O_CLOEXEC);
    if (fd < 0) {
        setError(error, path, errno);
        return false;
    }
    const char* p = data.data();
    size_t left = data.size();
    while (left > 0) {
        ssize_t n = ::write(fd, p, left);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            setError(error, path, errno);
            ::close(fd);
            ::unlink(tmpl.c_str());
            return false;
        }
        p += n;
        left -= static_cast<size_t>(n);
    }
    ::fchmod(fd, static_cast<mode_t>(mode));
    if (::fsync(fd) != 0 || ::close(fd) != 0) {
        setError(error, path, errno);
        ::unlink(tmpl.c_str());
        return false;
    }
    if (::rename(tmpl.c_str(), path.c_str()) != 0) {
        setError(error, path, errno);
        ::unlink(tmpl.c_str());
        return false;
    }
    removeStaleTemporaries(parentFolder(path), lastComponent(path));
    return true;
}

bool KTFileUtil::makeDirectories(const std::string& path, std::string* error)
{
    // The error_code forms only: a link loop or an over-long name must give
    // an error, not an exception.
    std::error_code ec, ignored;
    fs::create_directories(path, ec);
    if (fs::is_directory(path, ignored))
        return true;
    if (error)
        *error = path + ": " + (ec ? ec.message() : std::string("not a folder"));
    return false;
}

bool KTFileUtil::exists(const std::string& path)
{
    struct stat st {};
    return ::lstat(path.c_str(), &st) == 0;
}

bool KTFileUtil::isDirectory(const std::string& path)
{
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool KTFileUtil::copyTree(const std::string& from, const std::string& to, std::string* error)
{
    std::error_code ec;
    fs::copy(from, to,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks | fs::copy_options::overwrite_existing,
             ec);
    if (ec) {
        if (error)
            *error = "copy " + from + " to " + to + ": " + ec.message();
        return false;
    }
    return true;
}

bool KTFileUtil::removeTree(const std::string& path, std::string* error)
{
    std::error_code ec;
    fs::remove_all(path, ec);
    if (ec) {
        if (error)
            *error = "remove " + path + ": " + ec.message();
        return false;
    }
    return true;
}

std::string KTFileUtil::lastComponent(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    auto i = path.rfind('/');
    return std::string(i == std::string_view::npos ? path : path.substr(i + 1));
}

std::string KTFileUtil::parentFolder(std::string_view path)
{
    while (path.size() > 1 && path.back() == '/')
        path.remove_suffix(1);
    auto i = path.rfind('/');
    if (i == std::string_view::npos)
        return ".";
    if (i == 0)
        return "/";
    return std::string(path.substr(0, i));
}

} // namespace quilt
