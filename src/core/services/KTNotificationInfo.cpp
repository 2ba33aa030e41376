#include "core/services/KTNotificationInfo.h"

#include "core/services/KTVariantReader.h"

namespace quilt {

namespace {

GVariant* actionsVariant(const std::vector<KTNotificationActionInfo>& actions)
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE("aa{sv}"));
    for (const auto& action : actions)
        g_variant_builder_add_value(&builder, action.toVariant());
    return g_variant_builder_end(&builder);
}

std::optional<std::vector<KTNotificationActionInfo>> readActions(KTVariantReader& reader)
{
    GVariant* array = reader.value("actions", G_VARIANT_TYPE("aa{sv}"));
    if (!array)
        return std::nullopt;
    std::vector<KTNotificationActionInfo> actions;
    const gsize count = g_variant_n_children(array);
    if (count > KTNotificationInfo::kMaxActions)
        reader.refuse();
    for (gsize i = 0; i < count && !reader.refused(); ++i) {
        GVariant* child = g_variant_get_child_value(array, i);
        auto action = KTNotificationActionInfo::fromVariant(child);
        g_variant_unref(child);
        if (action)
            actions.push_back(std::move(*action));
        else
            reader.refuse();
    }
    g_variant_unref(array);
    return actions;
}

} // namespace

GVariant* KTNotificationInfo::toVariant() const
{
    GVariantBuilder builder;
    g_variant_builder_init(&builder, G_VARIANT_TYPE_VARDICT);
    KTVariantReader::addString(&builder, "title", title);
    KTVariantReader::addString(&builder, "subTitle", subTitle);
    KTVariantReader::addString(&builder, "message", message);
    KTVariantReader::addString(&builder, "identifier", identifier);
    if (actions)
        g_variant_builder_add(&builder, "{sv}", "actions", actionsVariant(*actions));
    return g_variant_builder_end(&builder);
}

std::optional<KTNotificationInfo> KTNotificationInfo::fromVariant(GVariant* record)
{
    KTVariantReader reader(record);
    KTNotificationInfo info;
    info.title = reader.string("title");
    info.subTitle = reader.string("subTitle");
    info.message = reader.string("message");
    info.identifier = reader.string("identifier");
    info.actions = readActions(reader);
    if (reader.refused())
        return std::nullopt;
    return info;
}

} // namespace quilt
