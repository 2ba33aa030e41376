// The store files' JSON parsing (simdjson), checked against nlohmann's own
// parser: the same values of the same types, or both refuse.

#include "core/config/KTJson.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace quilt;

namespace {

// Equal values of equal types (5 as unsigned is not 5 as signed here),
// objects compared in order.
::testing::AssertionResult sameTree(const KTJson& a, const KTJson& b, const std::string& at = "$")
{
    if (a.type() != b.type())
        return ::testing::AssertionFailure() << at << ": " << a.type_name() << " vs " << b.type_name();
    if (a.is_number_float()) {
        double x = a.get<double>(), y = b.get<double>();
        if (x != y || std::signbit(x) != std::signbit(y))
            return ::testing::AssertionFailure() << at << ": " << x << " vs " << y;
    } else if (a.is_object()) {
        if (a.size() != b.size())
            return ::testing::AssertionFailure() << at << ": " << a.size() << " members vs " << b.size();
        for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
            if (i.key() != j.key())
                return ::testing::AssertionFailure() << at << ": key " << i.key() << " vs " << j.key();
            if (auto r = sameTree(i.value(), j.value(), at + "." + i.key()); !r)
                return r;
        }
    } else if (a.is_array()) {
        if (a.size() != b.size())
            return ::testing::AssertionFailure() << at << ": " << a.size() << " items vs " << b.size();
        for (size_t i = 0; i < a.size(); ++i)
            if (auto r = sameTree(a[i], b[i], at + "[" + std::to_string(i) + "]"); !r)
                return r;
    } else if (a != b) {
        return ::testing::AssertionFailure() << at << ": " << a.dump() << " vs " << b.dump();
    }
    return ::testing::AssertionSuccess();
}

// Both parsers on the same text: the same value, or both refuse.
::testing::AssertionResult agree(const std::string& text)
{
    std::optional<KTJson> expected;
    try {
        expected = KTJson::parse(text);
    } catch (const KTJson::exception&) {
    }
    std::string error;
    auto got = json::parse(text, &error);
    if (expected.has_value() != got.has_value())
        return ::testing::AssertionFailure() << (expected ? "only nlohmann accepts " : "only simdjson accepts ")
                                             << ::testing::PrintToString(text) << " " << error;
    if (!got && error.rfind("parse error: ", 0) != 0)
        return ::testing::AssertionFailure() << "no error message for " << ::testing::PrintToString(text);
    if (!got)
        return ::testing::AssertionSuccess();
    auto r = sameTree(*got, *expected);
    return r ? r : (r << " in " << ::testing::PrintToString(text));
}

const char* const kDocuments[] = {
        // Accepted.
        "{}", "[]", " {\"a\" : [1, -2, 3.5, true, false, null] } ", "\xEF\xBB\xBF{\"bom\":1}", "\"top\"", "0", "-0",
        "-0.0", "1E5", "2.5e-3", "1e-400", "18446744073709551615", "18446744073709551616", "-9223372036854775808",
        "-9223372036854775809", "123456789012345678901234567890", "{\"k\":1,\"k\":2}", "{\"k\":{\"a\":1},\"x\":0,\"k\":[]}",
        "\"\\u00e9\\u65e5\\uD83D\\uDE00\\u0000\"", "\"\\\"\\\\\\/\\b\\f\\n\\r\\t\"", "\"é日😀\"", "[[[[]]]]",
        "{\"\":\"\"}", "\t\r\n[\t1\r,\n2 ]\n", "[ {\"a\" :[1.5e3,-0 ,\"\\u00e9\\n\"],\r\n\"b\":{\"\":null}} ,true]",
        // Number forms followed by a comma or a bracket, none too big for simdjson.
        "[0,-0,7,-45,1.5,-0.25,1e10,1E-3,-2.5e+2,1e308,4.9e-324,1e-330,-0]", "{\"n\":-0,\"m\":[-0]}",
        // Refused.
        "", " ", "{", "}", "[1,]", "{\"a\":1,}", "{,}", "[,1]", "{\"a\"}", "{\"a\":}", "{a:1}", "{'a':1}", "01",
        "-01", "1.", ".5", "1e", "1e+", "-", "+1", "0x10", "NaN", "Infinity", "1e400", "-1e400", "tru", "nul",
        "truex", "[1 2]", "{\"a\":1 \"b\":2}", "\"abc", "\"a\nb\"", "\"\\x\"", "\"\\u12\"", "\"\\uZZZZ\"",
        "\"\\uD83D\"", "\"\\uDE00\"", "\"\\uD83D\\u0041\"", "\"\\uD800\\uE000\"", "\"\\uDBFF\\uFFFF\"", "{\"\\uDE00\":1}",
        "{\"\\uD800\\uE000\":1}", "\"\xC3\"", "\"\xC0\xAF\"", "\"\xED\xA0\x80\"",
        "\"\xF4\x90\x80\x80\"", "\"\xFF\"", "\"\x80\"", "\xEF\xBB{}", "{} {}", "[1]x", "[\"a\"\x01]"};

class ParseTable : public ::testing::TestWithParam<const char*> {};

TEST_P(ParseTable, AgreesWithNlohmann) { EXPECT_TRUE(agree(GetParam())); }

INSTANTIATE_TEST_SUITE_P(Documents, ParseTable, ::testing::ValuesIn(kDocuments));

// The table's documents bent by a few random bytes each: whatever a damaged
// file holds, both parsers still agree.
TEST(JsonParse, DamagedDocumentsAgree)
{
    static const char bytes[] = "{}[],:\"\\e-+.0x \n\x01\x80\xC3\xA9\xED\xF0\xFF";
    std::mt19937 rng(2024);
    for (const std::string doc : kDocuments) {
        for (int m = 0; m < 40; ++m) {
            std::string bent = doc;
            for (int k = 1 + static_cast<int>(rng() % 3); k > 0; --k) {
                const size_t at = rng() % (bent.size() + 1);
                const char c = bytes[rng() % (sizeof bytes - 1)];
                switch (at == bent.size() ? 1 : rng() % 3) {
                case 0: bent.erase(at, 1); break;
                case 1: bent.insert(at, 1, c); break;
                default: bent[at] = c; break;
                }
            }
            ASSERT_TRUE(agree(bent));
        }
    }
}

// Not in the table: its texts end at the first NUL byte.
TEST(JsonParse, NulBytesAreRefused)
{
    EXPECT_FALSE(json::parse(std::string("[1,\0 2]", 7)));
    EXPECT_FALSE(json::parse(std::string("\"a\0b\"", 5)));
    EXPECT_FALSE(json::parse(std::string("{\"a\":1}\0", 8)));
}

TEST(JsonParse, NestingBeyondTheLimitIsRefused)
{
    const int limit = json::kMaxDepth;
    std::string ok = std::string(limit, '[') + std::string(limit, ']');
    EXPECT_TRUE(json::parse(ok));
    std::string error;
    std::string deep = std::string(limit + 1, '[') + std::string(limit + 1, ']');
    EXPECT_FALSE(json::parse(deep, &error));
    EXPECT_NE(error.find("nested too deeply"), std::string::npos) << error;
    // A hostile file: a million openings must not exhaust the stack.
    EXPECT_FALSE(json::parse(std::string(1000000, '[')));
    std::string objects;
    for (int i = 0; i < 100000; ++i)
        objects += "{\"a\":";
    EXPECT_FALSE(json::parse(objects));
}

TEST(JsonParse, LargeObjectsKeepOrderAndLookups)
{
    std::string text = "{";
    for (int i = 0; i < 5000; ++i)
        text += "\"k" + std::to_string(i % 4000) + "\":" + std::to_string(i) + (i < 4999 ? "," : "}");
    auto v = json::parse(text);
    ASSERT_TRUE(v);
    EXPECT_TRUE(agree(text));
    EXPECT_EQ(v->size(), 4000u);
    EXPECT_EQ((*v)["k3"], 4003);
    EXPECT_EQ((*v)["k3999"], 3999);
    (*v)["new"] = 1;
    EXPECT_EQ(std::prev(v->end()).key(), "new");
}

} // namespace
