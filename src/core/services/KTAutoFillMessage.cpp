#include "core/services/KTAutoFillMessage.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace quilt {

namespace {

using Event = KTAutoFillMessage::Event;

constexpr std::array<std::pair<const char*, Event>, 8> kEvents {{
    {"onLoginFound", Event::LoginFound},
    {"onUsernameChange", Event::UsernameChange},
    {"onPasswordChange", Event::PasswordChange},
    {"onUsernameFocused", Event::UsernameFocused},
    {"onPasswordFocused", Event::PasswordFocused},
    {"onUsernameBlurred", Event::UsernameBlurred},
    {"onPasswordBlurred", Event::PasswordBlurred},
    {"onKeyUp", Event::KeyUp},
}};

const KTJson* element(const KTJson& body, size_t i) { return i < body.size() ? &body[i] : nullptr; }

// A string of a sensible length; absent counts as "".
bool readText(const KTJson* v, std::string& out)
{
    if (!v || v->is_null()) {
        out.clear();
        return true;
    }
    if (!v->is_string() || v->get_ref<const std::string&>().size() > KTAutoFillMessage::kMaxValueLength)
        return false;
    out = v->get<std::string>();
    return true;
}

double readOffset(const KTJson& position, const char* key)
{
    auto it = position.find(key);
    if (it == position.end() || !it->is_number())
        return 0;
    const double d = it->get<double>();
    if (!std::isfinite(d))
        return 0;
    return std::clamp(d, -KTAutoFillMessage::kMaxOffset, KTAutoFillMessage::kMaxOffset);
}

// {"left": x, "top": y}; a missing or odd position is the page's corner.
bool readPosition(const KTJson* v, KTAutoFillMessage& m)
{
    if (!v || !v->is_object())
        return v == nullptr || v->is_null();
    m.left = readOffset(*v, "left");
    m.top = readOffset(*v, "top");
    return true;
}

bool readLogin(const KTJson* v, KTAutoFillMessage& m)
{
    if (!v || !v->is_object())
        return false;
    auto field = [&](const char* key) {
        auto it = v->find(key);
        return it == v->end() ? nullptr : &*it;
    };
    return readText(field("username"), m.username) && readText(field("password"), m.password);
}

bool readKey(const KTJson* v, KTAutoFillMessage& m)
{
    if (!v || !v->is_number())
        return false;
    const double d = v->get<double>();
    m.key = std::isfinite(d) && std::fabs(d) < 1e6 ? static_cast<int>(d) : 0;
    return true;
}

bool readBody(const KTJson& body, KTAutoFillMessage& m)
{
    switch (m.event) {
    case Event::LoginFound:
        return readLogin(element(body, 1), m);
    case Event::UsernameChange:
    case Event::PasswordChange: {
        const KTJson* value = element(body, 1);
        return value && value->is_string() && readText(value, m.value) && readPosition(element(body, 2), m);
    }
    case Event::UsernameFocused:
    case Event::PasswordFocused:
        return readPosition(element(body, 1), m);
    case Event::UsernameBlurred:
    case Event::PasswordBlurred:
        return true;
    case Event::KeyUp:
        return readKey(element(body, 1), m);
    }
    return false;
}

} // namespace

std::optional<KTAutoFillMessage> KTAutoFillMessage::parse(const KTJson& body)
{
    if (!body.is_array() || body.empty() || !body[0].is_string())
        return std::nullopt;
    const std::string& name = body[0].get_ref<const std::string&>();
    auto known = std::find_if(kEvents.begin(), kEvents.end(), [&](const auto& e) { return name == e.first; });
    if (known == kEvents.end())
        return std::nullopt;
    KTAutoFillMessage m;
    m.event = known->second;
    if (!readBody(body, m))
        return std::nullopt;
    return m;
}

} // namespace quilt
