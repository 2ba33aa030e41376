// The allow-list's judgement of an address and the navigation decision that
// asks it: the list's flags from the first byte, then NUL-separated URL,
// source URL and patterns.
#include "KTFuzzInput.h"
#include "KTFuzzWorld.h"

#include "core/web/KTNavigationPolicy.h"
#include "core/web/KTWhiteListManager.h"

#include <string>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    fuzz::KTFuzzInput input(data, size);
    const uint8_t flags = input.flags();
    const std::string url(input.next());
    const std::string source(input.next());

    KTWhiteListManager list(world.home() + "/no-such-whitelist.json");
    list.setAllowAll(flags & 1);
    list.setAllowPatterns(flags & 2);
    list.setAllowSubdomains(flags & 4);
    for (std::string_view pattern = input.next(); !pattern.empty(); pattern = input.next())
        list.addPattern(std::string(pattern));
    list.isUrlAllow(url);
    KTWhiteListManager::mainDomain(url);

    KTNavigationRequest request;
    request.url = url;
    request.sourceURL = source.empty() ? std::nullopt : std::optional<std::string>(source);
    request.target = (flags & 8) ? KTFrameTarget::Sub : ((flags & 16) ? KTFrameTarget::None : KTFrameTarget::Main);
    request.modifiers.control = flags & 32;
    request.isRecentNewTab = flags & 64;
    request.claimingApp = (flags & 128) ? std::optional<std::string>("Other") : std::nullopt;
    KTNavigationPolicy::decide(request, list.rules());
    KTNavigationPolicy::getRootDomain(url);
    return 0;
}
