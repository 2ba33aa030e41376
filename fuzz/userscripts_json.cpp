// "userscripts.json" in the bundle: the user scripts the creation tool wrote.
#include "KTRulesFuzzing.h"

#include "core/web/KTScriptsManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::KTFuzzWorld::get(); // the running bundle, before its path is asked for
    fuzz::fuzzRules<KTScriptsManager>(KTScriptsManager::defaultPath(), fuzz::bytesOf(data, size));
    return 0;
}
