#include "core/config/KTFileUtil.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
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

std::optional<std::string> KTFileUtil::read(const std::string& path, std::string* error)
{
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        setError(error, path, errno);
        return std::nullopt;
    }
    std::string data;
    struct stat st {};
    if (::fstat(fd, &st) == 0 && st.st_size > 0)
        data.reserve(static_cast<size_t>(st.st_size));
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
        data.append(buf, static_cast<size_t>(n));
    }
    ::close(fd);
    return data;
}

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
    return true;
}

bool KTFileUtil::makeDirectories(const std::string& path, std::string* error)
{
    std::error_code ec;
    fs::create_directories(path, ec);
    if (fs::is_directory(path))
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
