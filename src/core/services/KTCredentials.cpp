#include "core/services/KTCredentials.h"

#include "core/services/KTVariantReader.h"

namespace quilt {

GVariant* KTCredentials::toVariant() const
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    KTVariantReader::addString(&builder, "username", username);
    KTVariantReader::addString(&builder, "password", password);
    KTVariantReader::addString(&builder, "url", url);
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
