#include "KTFuzzWorld.h"

#include "IsolatedHome.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTShellDelegate.h"

#include <cstdio>
#include <cstdlib>
#include <glib.h>

namespace quilt::fuzz {

namespace {
std::string gRoot;

void removeRoot()
{
    if (!gRoot.empty())
        KTFileUtil::removeTree(gRoot);
}
} // namespace

KTFuzzWorld& KTFuzzWorld::get()
{
    static KTFuzzWorld* world = new KTFuzzWorld();
    return *world;
}

KTFuzzWorld::KTFuzzWorld()
{
    const char* tmp = std::getenv("TMPDIR");
    std::string tmpl = std::string(tmp && *tmp ? tmp : "/tmp") + "/quilt-fuzz-XXXXXX";
    if (!::mkdtemp(tmpl.data())) {
        std::perror("quilt fuzz: no temporary folder");
        std::abort();
    }
    root_ = gRoot = tmpl;
    std::atexit(removeRoot);

    home_ = test::isolateHome(root_);
    ::unsetenv("QUILT_DEBUG");
    KTLog::setSink([](std::string_view) {});

    char* uuid = g_uuid_string_random();
    uniqueId_ = uuid;
    g_free(uuid);
    bundle_ = test::makeAppBundle(root_, "Fuzz", "1.0", uniqueId_);
    KTBundle::setMainPath(bundle_);
}

std::string KTFuzzWorld::dataFolder() const { return home_ + "/.local/share/Quilt/" + uniqueId_ + "/"; }

void KTFuzzWorld::writeFile(const std::string& path, std::string_view bytes) const
{
    KTFileUtil::makeDirectories(KTFileUtil::parentFolder(path));
    // Not atomically: nothing reads concurrently, and the fsync would make
    // every input cost a disk flush.
    if (!g_file_set_contents(path.c_str(), bytes.data(), static_cast<gssize>(bytes.size()), nullptr)) {
        std::fprintf(stderr, "quilt fuzz: cannot write %s\n", path.c_str());
        std::abort();
    }
}

void KTFuzzWorld::reset() const
{
    test::resetSharedStores();
    KTShellDelegate::setShared(nullptr);
    KTFileUtil::removeTree(dataFolder());
}

} // namespace quilt::fuzz
