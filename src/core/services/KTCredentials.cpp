#include "core/services/KTCredentials.h"

#include "core/services/KTVariantReader.h"

namespace quilt {

namespace {
void addString(GVariantBuilder* builder, const char* key, const std::optional<std::string>& value)
{
    if (value)
        g_variant_builder_add(builder, "{sv}", key, KTVariantReader::newString(*value));
}
} // namespace

GVariant* KTCredentials::toVariant() const
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    addString(&builder, "username", username);
    addString(&builder, "password", password);
    addString(&builder, "url", url);
    return g_variant_builder_end(&builder);
}

std::optional<KTCredentials> KTCredentials::fromVariant(GVariant* record)
{
    KTVariantReader reader(record);
    KTCredentials credentials{reader.string("username"), reader.string("password"), reader.string("url")};
    if (reader.refused())
        return std::nullopt;
    return credentials;
}

} // namespace quilt
