#include "core/services/KTCredentials.h"
#include "core/services/KTNotificationInfo.h"
#include "core/services/KTVariantReader.h"

#include <gtest/gtest.h>

#include <string>

using namespace quilt;

namespace {

// Owns a parsed or built variant for one check.
struct Variant {
    GVariant* v;
    explicit Variant(GVariant* value) : v(value ? g_variant_ref_sink(value) : nullptr) {}
    ~Variant()
    {
        if (v)
            g_variant_unref(v);
    }
    std::string text() const
    {
        gchar* s = g_variant_print(v, FALSE);
        std::string r = s;
        g_free(s);
        return r;
    }
};

GVariant* parse(const std::string& text) { return g_variant_parse(nullptr, text.c_str(), nullptr, nullptr, nullptr); }

KTNotificationInfo fullInfo()
{
    return {"Build finished", "ci.example", "All jobs passed", "0D7E-ID",
            std::vector<KTNotificationActionInfo>{{"open", "Open report"}, {"rerun", std::nullopt}}};
}

} // namespace

// The coding keys and their order are what the other side reads.
TEST(HelperRecords, EncodeWithTheCodingKeysInOrder)
{
    EXPECT_EQ(Variant(KTCredentials{"alice", "s3cret", "https://a.example"}.toVariant()).text(),
              "{'username': <'alice'>, 'password': <'s3cret'>, 'url': <'https://a.example'>}");
    EXPECT_EQ(Variant(fullInfo().toVariant()).text(),
              "{'title': <'Build finished'>, 'subTitle': <'ci.example'>, 'message': <'All jobs passed'>, "
              "'identifier': <'0D7E-ID'>, 'actions': <[{'title': <'Open report'>, 'identifier': <'open'>}, "
              "{'identifier': <'rerun'>}]>}");
    EXPECT_EQ(Variant(KTNotificationInfo{}.toVariant()).text(), "{}");
}

TEST(HelperRecords, RoundTripKeepsEveryFieldAndEveryAbsence)
{
    const KTNotificationInfo infos[] = {fullInfo(), {}, {"", std::nullopt, "", std::nullopt, std::vector<KTNotificationActionInfo>{}}};
    for (const auto& info : infos)
        EXPECT_EQ(KTNotificationInfo::fromVariant(Variant(info.toVariant()).v), info);
    const KTCredentials credentials[] = {{"alice", "p'w\"\\", "https://a.example"}, {}, {"", std::nullopt, ""}};
    for (const auto& c : credentials)
        EXPECT_EQ(KTCredentials::fromVariant(Variant(c.toVariant()).v), c);
}

TEST(HelperRecords, TextThatIsNoDBusStringIsMadeValid)
{
    const KTCredentials bad{std::string("al\xff" "ice"), std::string("pass\0word", 9), std::nullopt};
    auto back = KTCredentials::fromVariant(Variant(bad.toVariant()).v);
    ASSERT_TRUE(back);
    EXPECT_EQ(*back->username, "al\xef\xbf\xbd" "ice");
    EXPECT_EQ(*back->password, "pass");
}

struct DecodeCase {
    const char* name;
    std::string text; // GVariant text form; empty = a null record
    bool accepted;
};

class NotificationDecoding : public testing::TestWithParam<DecodeCase> {};

TEST_P(NotificationDecoding, IsTotal)
{
    const auto& c = GetParam();
    Variant record(c.text.empty() ? nullptr : parse(c.text));
    ASSERT_TRUE(c.text.empty() || record.v) << c.text;
    EXPECT_EQ(KTNotificationInfo::fromVariant(record.v).has_value(), c.accepted);
}

static std::string nested(int depth)
{
    std::string v = "'deep'";
    for (int i = 0; i < depth; ++i)
        v = "<" + v + ">";
    return "{'title': " + v + "}";
}

static std::string actions(int n)
{
    std::string list;
    for (int i = 0; i < n; ++i)
        list += std::string(i ? ", " : "") + "{'identifier': <'a" + std::to_string(i) + "'>}";
    return "{'actions': <[" + list + "]>}";
}

INSTANTIATE_TEST_SUITE_P(
    Records, NotificationDecoding,
    testing::Values(DecodeCase{"Empty", "@a{sv} {}", true},
                    DecodeCase{"UnknownKeysIgnored", "{'tag': <'x'>, 'title': <'t'>}", true},
                    DecodeCase{"SubtitleInLowerCaseIsUnknown", "{'subtitle': <5>}", true},
                    DecodeCase{"NullRecord", "", false},
                    DecodeCase{"NotADictionary", "('title', 'x')", false},
                    DecodeCase{"OtherDictionaryType", "{'title': 'x'}", false},
                    DecodeCase{"NumberAsBody", "{'message': <5>}", false},
                    DecodeCase{"DeepNesting", nested(100), false},
                    DecodeCase{"HugeTitle", "{'title': <'" + std::string(KTVariantReader::kMaxStringBytes + 1, 'x') + "'>}", false},
                    DecodeCase{"LongestTitle", "{'title': <'" + std::string(KTVariantReader::kMaxStringBytes, 'x') + "'>}", true},
                    DecodeCase{"ActionsOfStrings", "{'actions': <['a', 'b']>}", false},
                    DecodeCase{"ActionWithNumberTitle", "{'actions': <[{'title': <1>}]>}", false},
                    DecodeCase{"MostActions", actions(KTNotificationInfo::kMaxActions), true},
                    DecodeCase{"TooManyActions", actions(KTNotificationInfo::kMaxActions + 1), false}),
    [](const testing::TestParamInfo<DecodeCase>& info) { return std::string(info.param.name); });

// Serialised bytes from anyone: random garbage under every record type
// decodes to something or to a refusal, never a crash.
TEST(HelperRecords, GarbageBytesNeverCrash)
{
    GRand* rand = g_rand_new_with_seed(7);
    for (int round = 0; round < 2000; ++round) {
        std::string bytes(g_rand_int_range(rand, 0, 200), '\0');
        for (char& b : bytes)
            b = static_cast<char>(g_rand_int_range(rand, 0, 256));
        GBytes* data = g_bytes_new(bytes.data(), bytes.size());
        Variant record(g_variant_new_from_bytes(G_VARIANT_TYPE_VARDICT, data, FALSE));
        g_bytes_unref(data);
        (void)KTNotificationInfo::fromVariant(record.v);
        (void)KTCredentials::fromVariant(record.v);
    }
    g_rand_free(rand);
}
