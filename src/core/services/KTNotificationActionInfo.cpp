#include "core/services/KTNotificationActionInfo.h"

#include "core/services/KTVariantReader.h"

namespace quilt {

GVariant* KTNotificationActionInfo::toVariant() const
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    KTVariantReader::addString(&builder, "title", title);
    KTVariantReader::addString(&builder, "identifier", identifier);
    return g_variant_builder_end(&builder);
}

std::optional<KTNotificationActionInfo> KTNotificationActionInfo::fromVariant(GVariant* record)
{
    KTVariantReader reader(record);
    KTNotificationActionInfo action;
    action.title = reader.string("title");
    action.identifier = reader.string("identifier");
    if (reader.refused())
        return std::nullopt;
    return action;
}

} // namespace quilt
