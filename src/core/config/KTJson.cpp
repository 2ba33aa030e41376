#include "core/config/KTJson.h"

#include "core/config/KTNumber.h"

#include <simdjson.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

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

namespace {

using simdjson::dom::element;
using simdjson::dom::element_type;

// Builds the KTJson value of a document simdjson has read and checked;
// counts the integer zeros, which simdjson reads as signed for "-0" and "0" alike.
void build(element e, KTJson& out, size_t& zeros, bool top = false)
{
    switch (e.type()) {
    case element_type::OBJECT: {
        simdjson::dom::object object = e.get_object().value_unsafe();
        out = KTJson::value_t::object;
        auto& members = out.get_ref<KTJson::object_t&>();
        // The top-level object of a store may hold 100 000 records. Its keys
        // are const, so each growth of its vector would copy every one of
        // them: allocate once. Nested objects are mostly records of two
        // members ("url" and "date").
        members.reserve(top ? object.size() : 2);
        for (auto [key, value] : object) {
            // A repeated key keeps its place and takes the later value.
            build(value, members.emplace(key, KTJson()).first->second, zeros);
        }
        // Repeated keys made the count too high: give the rest back.
        if (members.capacity() > 2 * members.size() + 16)
            members.shrink_to_fit();
        break;
    }
    case element_type::ARRAY: {
        simdjson::dom::array array = e.get_array().value_unsafe();
        out = KTJson::value_t::array;
        auto& items = out.get_ref<KTJson::array_t&>();
        items.reserve(array.size());
        for (element item : array)
            build(item, items.emplace_back(), zeros);
        break;
    }
    case element_type::STRING:
        out = std::string(e.get_string().value_unsafe());
        break;
    case element_type::INT64: {
        // Like nlohmann: only negative integers are signed.
        const int64_t v = e.get_int64().value_unsafe();
        zeros += v == 0;
        if (v < 0)
            out = v;
        else
            out = static_cast<uint64_t>(v);
        break;
    }
    case element_type::UINT64:
        out = e.get_uint64().value_unsafe();
        break;
    case element_type::DOUBLE:
        out = e.get_double().value_unsafe();
        break;
    case element_type::BOOL:
        out = e.get_bool().value_unsafe();
        break;
    case element_type::NULL_VALUE:
        out = nullptr;
        break;
    }
}

// How deeply the arrays and objects of a text nest, strings skipped.
int nestingOf(std::string_view text)
{
    int depth = 0, deepest = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        switch (text[i]) {
        case '"':
            for (++i; i < text.size() && text[i] != '"'; ++i)
                if (text[i] == '\\')
                    ++i;
            break;
        case '[':
        case '{':
            deepest = std::max(deepest, ++depth);
            break;
        case ']':
        case '}':
            --depth;
            break;
        default:
            break;
        }
    }
    return deepest;
}

// Whether the text may hold the integer "-0" (perhaps inside a string).
bool mayHoldNegativeZero(std::string_view text)
{
    for (size_t i = text.find("-0"); i != std::string_view::npos; i = text.find("-0", i + 2)) {
        const char next = i + 2 < text.size() ? text[i + 2] : ' ';
        if (next != '.' && next != 'e' && next != 'E')
            return true;
    }
    return false;
}

// simdjson refuses integers beyond 64 bits, which nlohmann reads as doubles,
// and reads "-0" as it reads "0", which nlohmann keeps signed: such a text
// is read again by nlohmann, which then decides. Slow, but such numbers do
// not occur in the files written here.
std::optional<KTJson> parseByNlohmann(std::string_view text, std::string* error)
{
    std::string why = "a number out of range";
    if (text.find('\0') == std::string_view::npos && nestingOf(text) <= kMaxDepth) {
        try {
            return KTJson::parse(text);
        } catch (const KTJson::exception& e) {
            why = e.what();
        }
    }
    if (error)
        *error = "parse error: " + why;
    return std::nullopt;
}

// A parser keeps buffers as large as the largest text it read: each thread
// keeps one for the small texts (page messages, small stores), and a large
// text gets one of its own, freed afterwards.
constexpr size_t kSharedParserUpTo = 1 << 20;

} // namespace

std::optional<KTJson> parse(std::string_view text, std::string* error)
{
    if (text.size() >= 3 && std::memcmp(text.data(), "\xEF\xBB\xBF", 3) == 0)
        text.remove_prefix(3);
    static thread_local simdjson::dom::parser shared;
    std::unique_ptr<simdjson::dom::parser> own;
    simdjson::dom::parser* parser = &shared;
    if (text.size() > kSharedParserUpTo) {
        own = std::make_unique<simdjson::dom::parser>();
        parser = own.get();
    }
    simdjson::error_code e = simdjson::SUCCESS;
    if (parser->max_depth() != static_cast<size_t>(kMaxDepth) || parser->capacity() < text.size())
        e = parser->allocate(std::max(text.size(), parser->capacity()), kMaxDepth);
    element root;
    if (!e)
        e = parser->parse(simdjson::padded_string(text)).get(root);
    if (e == simdjson::NUMBER_ERROR)
        return parseByNlohmann(text, error);
    if (e) {
        if (error)
            *error = std::string("parse error: ") +
                     (e == simdjson::DEPTH_ERROR ? "nested too deeply" : simdjson::error_message(e));
        return std::nullopt;
    }
    KTJson value;
    size_t zeros = 0;
    build(root, value, zeros, true);
    if (zeros > 0 && mayHoldNegativeZero(text))
        return parseByNlohmann(text, error);
    return value;
}

std::string compact(const KTJson& value)
{
    // Replace invalid UTF-8 rather than throw: a title with a broken byte
    // must not make the whole store unwritable.
    return value.dump(-1, ' ', false, KTJson::error_handler_t::replace);
}

} // namespace quilt::json
