// What a site says about itself: the head of its page and its web app
// manifest, NUL-separated, as the creation tool reads them from the network.
#include "KTFuzzInput.h"

#include "core/web/KTSiteIdentity.h"

#include <string>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::KTFuzzInput input(data, size);
    const std::string html(input.next());
    const std::string manifest(input.next());
    const std::string page = "https://mail.example.org/app/";
    auto head = KTSiteIdentity::parseHead(html, page);
    auto parsed = KTSiteIdentity::parseManifest(manifest, head.manifestUrl.value_or(page + "m.json"), page);
    KTSiteIdentity::combine(head, parsed, page);
    KTSiteIdentity::cssColor(html);
    KTSiteIdentity::cleanName(manifest);
    return 0;
}
