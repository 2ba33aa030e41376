#include "core/services/KTVariantReader.h"

namespace quilt {

KTVariantReader::KTVariantReader(GVariant* record)
    : record_(record)
{
    if (!record_ || !g_variant_is_of_type(record_, G_VARIANT_TYPE_VARDICT))
        refused_ = true;
}

GVariant* KTVariantReader::value(const char* key, const GVariantType* type)
{
    if (refused_)
        return nullptr;
    GVariant* found = g_variant_lookup_value(record_, key, nullptr);
    if (found && !g_variant_is_of_type(found, type)) {
        g_variant_unref(found);
        refused_ = true;
        return nullptr;
    }
    return found;
}

GVariant* KTVariantReader::newString(const std::string& text)
{
    gchar* valid = g_utf8_make_valid(text.c_str(), -1);
    GVariant* value = g_variant_new_take_string(valid);
    return value;
}

void KTVariantReader::addString(GVariantBuilder* record, const char* key, const std::optional<std::string>& value)
{
    if (value)
        g_variant_builder_add(record, "{sv}", key, newString(*value));
}

std::optional<std::string> KTVariantReader::string(const char* key)
{
    GVariant* found = value(key, G_VARIANT_TYPE_STRING);
    if (!found)
        return std::nullopt;
    gsize length = 0;
    const char* text = g_variant_get_string(found, &length);
    std::optional<std::string> result;
    if (length > kMaxStringBytes)
        refused_ = true;
    else
        result.emplace(text, length);
    g_variant_unref(found);
    return refused_ ? std::nullopt : result;
}

} // namespace quilt
