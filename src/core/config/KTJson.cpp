#include "core/config/KTJson.h"

#include "core/config/KTJsonReader.h"
#include "core/config/KTNumber.h"

#include <cmath>
#include <limits>

namespace quilt::json {

const KTJson* lookup(const KTJson& object, std::string_view key)
{
    if (!object.is_object())
        return nullptr;
    auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

bool truthValue(const KTJson& v, bool absent)
{
    switch (v.type()) {
    case KTJson::value_t::boolean:
        return v.get<bool>();
    case KTJson::value_t::number_integer:
        return v.get<int64_t>() != 0;
    case KTJson::value_t::number_unsigned:
        return v.get<uint64_t>() != 0;
    case KTJson::value_t::number_float:
        return v.get<double>() != 0.0;
    case KTJson::value_t::string: {
        // A textual flag is true when it starts like "yes", "true" or a non-zero digit.
        const auto& s = v.get_ref<const std::string&>();
        size_t i = s.find_first_not_of(" \t\n");
        if (i == std::string::npos)
            return false;
        char c = s[i];
        if (c == '+' || c == '-')
            c = i + 1 < s.size() ? s[i + 1] : '0';
        return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
    }
    case KTJson::value_t::null:
    case KTJson::value_t::discarded:
        return absent;
    default:
        return false;
    }
}

bool boolFor(const KTJson& object, std::string_view key, bool absent)
{
    const KTJson* v = lookup(object, key);
    return v ? truthValue(*v, absent) : absent;
}

double doubleFor(const KTJson& object, std::string_view key, double absent)
{
    const KTJson* v = lookup(object, key);
    if (!v)
        return absent;
    if (v->is_number())
        return v->get<double>();
    if (v->is_boolean())
        return v->get<bool>() ? 1.0 : 0.0;
    if (v->is_string()) {
        // A number kept as text reads the same in every language.
        return KTNumber::parse(v->get_ref<const std::string&>()).value_or(0.0);
    }
    return absent;
}

int64_t intFor(const KTJson& object, std::string_view key, int64_t absent)
{
    const KTJson* v = lookup(object, key);
    if (!v)
        return absent;
    if (v->is_number_float()) {
        // Saturated: casting a double outside int64's range is undefined.
        double d = v->get<double>();
        if (!std::isfinite(d))
            return 0;
        if (d >= 9223372036854775807.0)
            return std::numeric_limits<int64_t>::max();
        if (d <= -9223372036854775808.0)
            return std::numeric_limits<int64_t>::min();
        return static_cast<int64_t>(d);
    }
    if (v->is_number_unsigned())
        return static_cast<int64_t>(v->get<uint64_t>());
    if (v->is_number_integer())
        return v->get<int64_t>();
    if (v->is_boolean())
        return v->get<bool>() ? 1 : 0;
    if (v->is_string()) {
        try {
            return std::stoll(v->get_ref<const std::string&>());
        } catch (...) {
            return 0;
        }
    }
    return absent;
}

uint64_t unsignedFor(const KTJson& object, std::string_view key, uint64_t absent)
{
    const KTJson* v = lookup(object, key);
    if (!v)
        return absent;
    if (v->is_number_unsigned())
        return v->get<uint64_t>();
    // Negative numbers wrap as an unsigned reading of the same bits would.
    return static_cast<uint64_t>(intFor(object, key, static_cast<int64_t>(absent)));
}

std::optional<std::string> stringFor(const KTJson& object, std::string_view key)
{
    const KTJson* v = lookup(object, key);
    if (!v || !v->is_string())
        return std::nullopt;
    return v->get<std::string>();
}

std::optional<KTJson> parse(std::string_view text, std::string* error)
{
    return KTJsonReader::parse(text, error);
}

std::string compact(const KTJson& value)
{
    // Replace invalid UTF-8 rather than throw: a title with a broken byte
    // must not make the whole store unwritable.
    return value.dump(-1, ' ', false, KTJson::error_handler_t::replace);
}

} // namespace quilt::json
