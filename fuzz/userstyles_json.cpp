// "userstyles.json" in the data folder: the user's styles, each wrapped into
// the script that adds it to a page.
#include "KTRulesFuzzing.h"

#include "core/web/KTStylesManager.h"

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::KTFuzzWorld::get(); // the running bundle, before its path is asked for
    fuzz::fuzzRules<KTStylesManager>(KTStylesManager::defaultPath(), fuzz::bytesOf(data, size));
    KTStylesManager styles(KTStylesManager::defaultPath());
    for (const auto& name : styles.rulesArray())
        if (auto css = styles.scriptForRule(name))
            KTStylesManager::wrapStyle(*css);
    return 0;
}
