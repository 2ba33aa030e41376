#include "core/services/KTNotificationMessage.h"

namespace quilt {

namespace {

// A present value must be a string; absent gives nullopt in `out`.
bool optionalString(const KTJson& object, const char* key, std::optional<std::string>& out)
{
    auto it = object.find(key);
    if (it == object.end())
        return true;
    if (!it->is_string())
        return false;
    out = it->get<std::string>();
    return true;
}

} // namespace

std::optional<KTNotificationInfo> KTNotificationMessage::parse(const KTJson& body,
                                                               const std::optional<std::string>& subTitle,
                                                               const std::string& identifier)
{
    if (!body.is_array())
        return std::nullopt;
    KTNotificationInfo info;
    if (!body.empty()) {
        if (!body[0].is_string())
            return std::nullopt;
        info.title = body[0].get<std::string>();
    }
    info.subTitle = subTitle;
    info.message = std::string();
    info.identifier = identifier;
    info.actions = std::vector<KTNotificationActionInfo>();
    if (body.size() >= 2 && !readOptions(body[1], info))
        return std::nullopt;
    return info;
}

bool KTNotificationMessage::readOptions(const KTJson& options, KTNotificationInfo& info)
{
    if (!options.is_object())
        return false;
    if (!optionalString(options, "body", info.message))
        return false;
    // The tag lives only as long as this call: the desktop never sees it.
    auto actions = options.find("actions");
    return actions == options.end() || readActions(*actions, *info.actions);
}

bool KTNotificationMessage::readActions(const KTJson& actions, std::vector<KTNotificationActionInfo>& out)
{
    if (!actions.is_array())
        return false;
    for (const KTJson& element : actions) {
        if (!readAction(element, out))
            return false;
    }
    return out.size() <= KTNotificationInfo::kMaxActions;
}

bool KTNotificationMessage::readAction(const KTJson& element, std::vector<KTNotificationActionInfo>& out)
{
    if (!element.is_object())
        return false;
    KTNotificationActionInfo action;
    if (!optionalString(element, "action", action.identifier) || !optionalString(element, "title", action.title))
        return false;
    if (!action.identifier)
        return true;
    if (!action.title)
        action.title = action.identifier;
    out.push_back(std::move(action));
    return true;
}

} // namespace quilt
