// Every JSON store and both page-message channels go through json::parse
// (simdjson). It must build the very values nlohmann's own parser builds (it
// replaced it for speed), and what it reads must survive being written and
// read again.
#include "KTFuzzWorld.h"

#include "core/config/KTJson.h"

#include <cstdlib>

using namespace quilt;

namespace {
int depthOf(const KTJson& v)
{
    int deepest = 0;
    if (v.is_structured())
        for (const auto& child : v)
            deepest = std::max(deepest, depthOf(child));
    return v.is_structured() ? deepest + 1 : 0;
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::string_view text = fuzz::bytesOf(data, size);
    // nlohmann takes a NUL byte for the end of the text; ours refuses it.
    const bool comparable = text.find('\0') == std::string_view::npos;
    std::string error;
    auto ours = json::parse(text, &error);
    KTJson theirs = KTJson::parse(text.begin(), text.end(), nullptr, false);
    if (!ours) {
        if (error.empty())
            std::abort();
        // Refusing what nlohmann accepts is allowed only past the depth limit.
        if (comparable && !theirs.is_discarded() && depthOf(theirs) <= json::kMaxDepth)
            std::abort();
        return 0;
    }
    if (comparable && (theirs.is_discarded() || *ours != theirs))
        std::abort();
    auto again = json::parse(json::compact(*ours));
    if (!again || *again != *ours)
        std::abort();
    return 0;
}
