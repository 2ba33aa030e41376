#include "core/web/KTAllowListRules.h"

#include "core/web/KTURLPattern.h"

#include <glib.h>

namespace quilt {

namespace {

std::vector<std::string_view> split(std::string_view text, char sep)
{
    std::vector<std::string_view> out;
    size_t start = 0;
    for (;;) {
        size_t at = text.find(sep, start);
        out.push_back(text.substr(start, at == std::string_view::npos ? text.npos : at - start));
        if (at == std::string_view::npos)
            return out;
        start = at + 1;
    }
}

std::optional<std::string> lastTwo(const std::vector<std::string_view>& labels)
{
    if (labels.size() < 3)
        return std::nullopt;
    return std::string(labels[labels.size() - 2]) + "." + std::string(labels.back());
}

constexpr const char* kVariantType = "(bbbas)";

} // namespace

bool KTAllowListRules::isUrlAllow(std::string_view url) const
{
    if (allowAll)
        return true;
    KTURLPattern::Widen widen;
    if (allowSubdomains)
        widen = [](std::string_view fragment) { return mainDomain(fragment); };
    for (const auto& pattern : patterns)
        if (KTURLPattern::matches(pattern, url, widen))
            return allowPatterns;
    return !allowPatterns;
}

std::optional<std::string> KTAllowListRules::mainDomain(std::string_view fragment)
{
    if (fragment.rfind("http://", 0) == 0 || fragment.rfind("https://", 0) == 0) {
        GUri* uri = g_uri_parse(std::string(fragment).c_str(), G_URI_FLAGS_NONE, nullptr);
        if (!uri)
            return std::nullopt;
        std::string host = g_uri_get_host(uri) ? g_uri_get_host(uri) : "";
        g_uri_unref(uri);
        return lastTwo(split(host, '.'));
    }
    return lastTwo(split(fragment, '.'));
}

GVariant* KTAllowListRules::toVariant() const
{
    GVariantBuilder list;
    g_variant_builder_init(&list, G_VARIANT_TYPE_STRING_ARRAY);
    for (const auto& p : patterns)
        g_variant_builder_add(&list, "s", p.c_str());
    return g_variant_new(kVariantType, allowAll, allowPatterns, allowSubdomains, &list);
}

std::optional<KTAllowListRules> KTAllowListRules::fromVariant(GVariant* value)
{
    if (!value || !g_variant_is_of_type(value, G_VARIANT_TYPE(kVariantType)))
        return std::nullopt;
    KTAllowListRules rules;
    gboolean all = FALSE, byPatterns = FALSE, subdomains = FALSE;
    GVariantIter* list = nullptr;
    g_variant_get(value, kVariantType, &all, &byPatterns, &subdomains, &list);
    rules.allowAll = all;
    rules.allowPatterns = byPatterns;
    rules.allowSubdomains = subdomains;
    const char* p = nullptr;
    while (g_variant_iter_next(list, "&s", &p))
        rules.patterns.emplace_back(p);
    g_variant_iter_free(list);
    return rules;
}

} // namespace quilt
