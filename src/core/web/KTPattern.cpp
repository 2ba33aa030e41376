#include "core/web/KTPattern.h"

namespace quilt {

std::optional<KTPattern> KTPattern::initWithDictionary(const KTJson& dictionary)
{
    if (!dictionary.is_object())
        return std::nullopt;
    auto name = json::stringFor(dictionary, "name");
    if (!name)
        return std::nullopt;
    return KTPattern(*name, json::intFor(dictionary, "state"));
}

KTJson KTPattern::toDictionary() const
{
    KTJson d = KTJson::object();
    d["name"] = name;
    d["state"] = state;
    return d;
}

} // namespace quilt
