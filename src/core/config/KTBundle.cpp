#include "core/config/KTBundle.h"

#include "core/config/KTFileUtil.h"
#include "core/config/KTPlist.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sys/xattr.h>
#include <unistd.h>
#include <vector>

namespace quilt {

namespace {
// Never destroyed: stores save themselves at exit and still need the bundle
// to find their folder, whatever the order of static destruction.
std::unique_ptr<KTBundle>& mainSlot()
{
    static auto* b = new std::unique_ptr<KTBundle>();
    return *b;
}

std::string locateMainBundle()
{
    if (const char* env = std::getenv("QUILT_BUNDLE"); env && *env)
        return env;
    char buf[PATH_MAX];
    ssize_t n = ::readlink("/proc/self/exe", buf, sizeof buf - 1);
    if (n <= 0)
        return ".";
    std::string exe(buf, static_cast<size_t>(n));
    // BUNDLE/Contents/MacOS/EXE: two folders up from the executable's folder.
    return KTFileUtil::parentFolder(KTFileUtil::parentFolder(KTFileUtil::parentFolder(exe)));
}
} // namespace

KTBundle::KTBundle(std::string path)
    : path_(std::move(path))
{
    while (path_.size() > 1 && path_.back() == '/')
        path_.pop_back();
}

KTBundle& KTBundle::main()
{
    auto& slot = mainSlot();
    if (!slot)
        slot = std::make_unique<KTBundle>(locateMainBundle());
    return *slot;
}

void KTBundle::setMainPath(const std::string& path)
{
    mainSlot() = std::make_unique<KTBundle>(path);
}

std::string KTBundle::executablePath() const
{
    std::string exe = infoString("CFBundleExecutable");
    return path_ + "/Contents/MacOS/" + (exe.empty() ? std::string("DefaultApp") : exe);
}

std::string KTBundle::pathForResource(const std::string& name, const std::string& type) const
{
    std::string p = resourcePath() + "/" + name + (type.empty() ? "" : "." + type);
    return KTFileUtil::exists(p) ? p : std::string();
}

const KTJson& KTBundle::infoDictionary() const
{
    if (!info_) {
        auto dict = KTPlist::readFile(infoPlistPath());
        info_ = (dict && dict->is_object()) ? std::move(*dict) : KTJson::object();
    }
    return *info_;
}

std::string KTBundle::infoString(const std::string& key) const
{
    return json::stringFor(infoDictionary(), key).value_or(std::string());
}

std::string KTBundle::folderName() const
{
    std::string name = KTFileUtil::lastComponent(path_);
    if (name.size() > 4 && name.compare(name.size() - 4, 4, ".app") == 0)
        name.resize(name.size() - 4);
    return name;
}

std::optional<std::string> KTBundle::uniqueIdentifier() const
{
    // Ask the size first, then read with a 255-byte limit, and make the text
    // of the full reported size.
    ssize_t size = ::getxattr(path_.c_str(), kUniqueIdAttribute, nullptr, 0);
    if (size >= 0) {
        std::vector<char> buf(static_cast<size_t>(size) + 1, 0);
        ssize_t got = ::getxattr(path_.c_str(), kUniqueIdAttribute, buf.data(),
                                 std::min<size_t>(static_cast<size_t>(size), 255));
        if (got >= 0)
            return std::string(buf.data(), std::min<size_t>(static_cast<size_t>(size), 255));
    }
    if (auto text = KTFileUtil::read(resourcePath() + "/" + kUniqueIdFallbackFile)) {
        while (!text->empty() && (text->back() == '\n' || text->back() == ' '))
            text->pop_back();
        if (!text->empty())
            return text;
    }
    return std::nullopt;
}

bool KTBundle::writeUniqueIdentifier(const std::string& bundlePath, const std::string& id, std::string* error)
{
    if (::setxattr(bundlePath.c_str(), kUniqueIdAttribute, id.data(), id.size(), 0) == 0)
        return true;
    int err = errno;
    // Some file systems (tmpfs without user_xattr, some network mounts)
    // refuse user attributes; the reader falls back to this file.
    if (err == ENOTSUP || err == EPERM || err == EOPNOTSUPP) {
        std::string res = bundlePath + "/Contents/Resources";
        if (KTFileUtil::makeDirectories(res, error)
            && KTFileUtil::writeAtomically(res + "/" + kUniqueIdFallbackFile, id + "\n", error))
            return true;
        return false;
    }
    if (error)
        *error = bundlePath + ": " + std::strerror(err);
    return false;
}

} // namespace quilt
