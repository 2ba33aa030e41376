#include "KTRollback.h"

#include "core/config/KTFileUtil.h"

#include <optional>
#include <unistd.h>

namespace quilt {

namespace {
void runAll(std::vector<std::function<void()>>& steps)
{
    for (auto it = steps.rbegin(); it != steps.rend(); ++it) {
        try {
            (*it)();
        } catch (...) {
            // One step that cannot be taken back must not keep the others.
        }
    }
}
} // namespace

KTRollback::~KTRollback()
{
    if (!committed_)
        runAll(undo_);
    runAll(cleanup_);
}

void KTRollback::add(std::function<void()> undo) { undo_.push_back(std::move(undo)); }

void KTRollback::finally(std::function<void()> cleanup) { cleanup_.push_back(std::move(cleanup)); }

void KTRollback::saveFile(const std::string& path)
{
    std::optional<std::string> bytes = KTFileUtil::read(path);
    add([path, bytes] {
        if (bytes)
            KTFileUtil::writeAtomically(path, *bytes);
        else
            ::unlink(path.c_str());
    });
}

} // namespace quilt
