// The "*" pattern language of the allow-list and of user scripts and styles:
// pattern and URL from one input. A pattern without "*" is found in any URL
// that contains it, and "*" alone matches everything.
#include "KTFuzzInput.h"

#include "core/web/KTURLPattern.h"

#include <cstdlib>
#include <string>

using namespace quilt;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    fuzz::KTFuzzInput input(data, size);
    std::string_view pattern = input.next();
    std::string_view url = input.next();
    bool matched = KTURLPattern::matches(pattern, url);
    if (pattern.find('*') == std::string_view::npos && matched != (url.find(pattern) != std::string_view::npos))
        std::abort();
    if (!KTURLPattern::matches("*", url))
        std::abort();
    // A widening that gives the fragment back unchanged changes nothing.
    auto same = [](std::string_view f) { return std::optional<std::string>(std::string(f)); };
    if (KTURLPattern::matches(pattern, url, same) != matched)
        std::abort();
    return 0;
}
