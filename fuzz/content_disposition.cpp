// A response's Content-Disposition header and URL, as a server sends them:
// the file name a download gets. NUL separates the header from the URL.
#include "KTFuzzInput.h"

#include "core/web/KTResponsePolicy.h"

#include <cstdlib>
#include <glib.h>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::KTFuzzInput input(data, size);
    const uint8_t flags = input.flags();
    KTResponseInfo response;
    response.contentDisposition = std::string(input.next());
    response.url = std::string(input.next());
    response.mimeType = (flags & 1) ? "application/octet-stream" : "text/html";
    response.isMainFrame = flags & 2;
    response.needToDownload = flags & 4;

    // Decoded text is UTF-8 or nothing at all.
    if (auto decoded = KTResponsePolicy::removePercentEncoding(*response.contentDisposition))
        if (!g_utf8_validate(decoded->data(), static_cast<gssize>(decoded->size()), nullptr))
            std::abort();
    KTResponsePolicy::extractFileName(*response.contentDisposition);
    KTResponsePolicy::lastPathComponent(response.url);
    KTResponsePolicy::decide(response);
    return 0;
}
