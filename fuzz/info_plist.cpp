// "Info.plist" of a bundle (XML or binary): the app reads its identifier,
// version and executable from it; the creation tool reads the template's and
// writes a changed copy, so what it reads must write back as it was read.
#include "KTFuzzWorld.h"

#include "core/config/KTBundle.h"
#include "core/config/KTPlist.h"

#include <cstdlib>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    auto& world = fuzz::KTFuzzWorld::get();
    const std::string bundlePath = world.home() + "/Read.app";
    world.writeFile(bundlePath + "/Contents/Info.plist", fuzz::bytesOf(data, size));
    KTBundle bundle(bundlePath);
    bundle.infoDictionary();
    bundle.bundleIdentifier();
    bundle.shortVersion();
    bundle.executablePath();

    std::string error;
    auto dict = KTPlist::parse(fuzz::bytesOf(data, size), &error);
    if (!dict)
        return 0;
    // Compared as written: a NaN read from a binary list is a fine value but
    // never equal to itself.
    const std::string xml = KTPlist::toXml(*dict);
    auto again = KTPlist::parse(xml, &error);
    if (!again || KTPlist::toXml(*again) != xml)
        std::abort();
    return 0;
}
