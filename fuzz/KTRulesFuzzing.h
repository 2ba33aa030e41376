#pragma once

#include "KTFuzzWorld.h"

#include "core/web/KTScriptsManager.h"

#include <cstdlib>

namespace quilt::fuzz {

// One input as a user scripts or styles file: its rules are listed, matched
// against a few addresses, saved and loaded again, and must come back equal.
template <class Manager>
void fuzzRules(const std::string& path, std::string_view bytes)
{
    KTFuzzWorld::get().reset();
    KTFuzzWorld::get().writeFile(path, bytes);
    Manager rules(path);
    for (const auto& name : rules.rulesArray()) {
        rules.patternsNamesForRule(name);
        rules.scriptForRule(name);
        rules.getRuleState(name);
    }
    for (const char* url : {"https://example.org/", "https://www.example.org/a?b#c", ""})
        rules.findScriptFor(url);
    if (!rules.saveJson())
        std::abort();
    Manager again(path);
    if (again.rules() != rules.rules())
        std::abort();
}

} // namespace quilt::fuzz
