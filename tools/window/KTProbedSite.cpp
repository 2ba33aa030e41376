#include "KTProbedSite.h"

#include "core/config/KTJson.h"

namespace quilt {

std::optional<KTProbedSite> KTProbedSite::parse(const std::string& output)
{
    auto j = json::parse(output);
    if (!j || !j->is_object())
        return std::nullopt;
    KTProbedSite site;
    site.url = json::stringFor(*j, "url").value_or("");
    site.name = json::stringFor(*j, "name").value_or("");
    site.shortName = json::stringFor(*j, "shortName").value_or("");
    if (auto icon = json::stringFor(*j, "iconFile"); icon && !icon->empty())
        site.iconFile = *icon;
    if (const KTJson* warnings = json::lookup(*j, "warnings"); warnings && warnings->is_array())
        for (const auto& w : *warnings)
            if (w.is_string())
                site.warnings.push_back(w.get<std::string>());
    return site;
}

} // namespace quilt
