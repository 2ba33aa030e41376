#include "core/services/KTAutoFillMessage.h"
#include "core/services/KTLoginData.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace quilt;

namespace {

using Event = KTAutoFillMessage::Event;
using Field = KTLoginData::FieldType;

struct MessageCase {
    const char* name;
    std::string body; // JSON as a page posts it
    std::optional<Event> event; // nullopt: refused
    std::string value = "";
    double left = 0, top = 0;
    int key = 0;
};

std::string longText(size_t n) { return "\"" + std::string(n, 'x') + "\""; }

std::vector<MessageCase> messageCases()
{
    return {
        {"LoginFound", R"(["onLoginFound", {"username": "ann", "password": "pw"}])", Event::LoginFound},
        {"LoginFoundEmptyForm", R"(["onLoginFound", {}])", Event::LoginFound},
        {"LoginFoundWithoutForm", R"(["onLoginFound"])", std::nullopt},
        {"LoginFoundNumberUser", R"(["onLoginFound", {"username": 7, "password": "pw"}])", std::nullopt},
        {"UsernameChange", R"(["onUsernameChange", "al", {"left": 8.5, "top": 40}])", Event::UsernameChange, "al",
         8.5, 40},
        {"ChangeWithoutPosition", R"(["onPasswordChange", ""])", Event::PasswordChange, ""},
        {"ChangeWithOddPosition", R"(["onUsernameChange", "a", {"left": "8", "top": null}])", Event::UsernameChange,
         "a"},
        {"ChangeHugePosition", R"(["onUsernameChange", "a", {"left": 1e300, "top": -1e300}])", Event::UsernameChange,
         "a", KTAutoFillMessage::kMaxOffset, -KTAutoFillMessage::kMaxOffset},
        {"ChangeValueNotText", R"(["onUsernameChange", ["al"], {"left": 1, "top": 2}])", std::nullopt},
        {"ChangeValueMissing", R"(["onPasswordChange"])", std::nullopt},
        {"ChangePositionNotObject", R"(["onUsernameChange", "a", [1, 2]])", std::nullopt},
        {"ValueAtLimit", "[\"onUsernameChange\", " + longText(KTAutoFillMessage::kMaxValueLength) + "]",
         Event::UsernameChange, std::string(KTAutoFillMessage::kMaxValueLength, 'x')},
        {"ValuePastLimit", "[\"onUsernameChange\", " + longText(KTAutoFillMessage::kMaxValueLength + 1) + "]",
         std::nullopt},
        {"PasswordPastLimit",
         "[\"onLoginFound\", {\"username\": \"a\", \"password\": " + longText(40000) + "}]", std::nullopt},
        {"Focused", R"(["onPasswordFocused", {"left": 3, "top": 4}])", Event::PasswordFocused, "", 3, 4},
        {"Blurred", R"(["onUsernameBlurred", "ignored", 1])", Event::UsernameBlurred},
        {"KeyUp", R"(["onKeyUp", -1])", Event::KeyUp, "", 0, 0, -1},
        {"KeyUpFraction", R"(["onKeyUp", 13.9])", Event::KeyUp, "", 0, 0, 13},
        {"KeyUpHuge", R"(["onKeyUp", 1e40])", Event::KeyUp, "", 0, 0, 0},
        {"KeyUpText", R"(["onKeyUp", "13"])", std::nullopt},
        {"CaseMatters", R"(["onloginfound", {}])", std::nullopt},
        {"NameNotText", R"([13, "onKeyUp"])", std::nullopt},
        {"EmptyArray", "[]", std::nullopt},
        {"Object", R"({"0": "onKeyUp", "1": 13})", std::nullopt},
    };
}

class AutoFillMessages : public testing::TestWithParam<MessageCase> {};

TEST_P(AutoFillMessages, ParseAsThePageMeantOrRefuseWhole)
{
    const MessageCase& c = GetParam();
    auto body = json::parse(c.body);
    ASSERT_TRUE(body) << c.body.substr(0, 80);
    auto m = KTAutoFillMessage::parse(*body);
    ASSERT_EQ(m.has_value(), c.event.has_value());
    if (!m)
        return;
    EXPECT_EQ(m->event, *c.event);
    EXPECT_EQ(m->value, c.value);
    EXPECT_DOUBLE_EQ(m->left, c.left);
    EXPECT_DOUBLE_EQ(m->top, c.top);
    EXPECT_EQ(m->key, c.key);
}

INSTANTIATE_TEST_SUITE_P(Bodies, AutoFillMessages, testing::ValuesIn(messageCases()),
                         [](const auto& info) { return std::string(info.param.name); });

TEST(AutoFillMessages, LoginFoundCarriesTheFormsValues)
{
    auto m = KTAutoFillMessage::parse(*json::parse(R"(["onLoginFound", {"username": "ann", "password": "p'w\\"}])"));
    ASSERT_TRUE(m);
    EXPECT_EQ(m->username, "ann");
    EXPECT_EQ(m->password, "p'w\\");
}

struct MenuCase {
    const char* name;
    std::string typed;
    Field field;
    std::vector<std::string> listed;
};

class AutoFillMenuItems : public testing::TestWithParam<MenuCase> {};

// Saved in this order; "al" is a prefix of "alice" and equal to "al".
TEST_P(AutoFillMenuItems, ListTheLoginsThatMatchWhatIsTyped)
{
    const MenuCase& c = GetParam();
    const std::vector<KTCredentials> saved {{"alice", "1", "https://a.example"},
                                            {"bob", "2", "https://a.example"},
                                            {"al", "3", "https://a.example"},
                                            {std::nullopt, "4", "https://a.example"}};
    KTLoginData login = KTLoginData::found("", "", "https://a.example/login");
    login.setUsername(c.typed);
    std::vector<std::string> listed;
    for (const auto& item : login.menuItems(saved, c.field))
        listed.push_back(item.username.value_or("<none>"));
    EXPECT_EQ(listed, c.listed);
}

INSTANTIATE_TEST_SUITE_P(
    Typed, AutoFillMenuItems,
    testing::Values(MenuCase {"NothingTypedUser", "", Field::Username, {"alice", "bob", "al"}},
                    MenuCase {"NothingTypedPassword", "", Field::Password, {"alice", "bob", "al", "<none>"}},
                    MenuCase {"PrefixUserDropsExact", "al", Field::Username, {"alice"}},
                    MenuCase {"PrefixPasswordKeepsExact", "al", Field::Password, {"alice", "al"}},
                    MenuCase {"CaseSensitive", "Al", Field::Password, {}},
                    MenuCase {"NoMatch", "carol", Field::Username, {}},
                    MenuCase {"WholeName", "alice", Field::Username, {}}),
    [](const auto& info) { return std::string(info.param.name); });

struct SaveCase {
    const char* name;
    void (*act)(KTLoginData&);
    bool offer;
};

class AutoFillSaveOffer : public testing::TestWithParam<SaveCase> {};

TEST_P(AutoFillSaveOffer, OnlyATouchedFormWithBothFieldsIsOffered)
{
    KTLoginData login = KTLoginData::found("ann", "pw", "https://a.example/");
    GetParam().act(login);
    EXPECT_EQ(login.mayOfferToSave(), GetParam().offer);
}

INSTANTIATE_TEST_SUITE_P(
    Forms, AutoFillSaveOffer,
    testing::Values(SaveCase {"Untouched", [](KTLoginData&) {}, false},
                    SaveCase {"SameValueTyped", [](KTLoginData& l) { l.setPassword("pw"); }, true},
                    SaveCase {"Filled", [](KTLoginData& l) { l.fill("bob", "x"); }, true},
                    SaveCase {"EmptyUser", [](KTLoginData& l) { l.setUsername(""); }, false},
                    SaveCase {"EmptyPassword", [](KTLoginData& l) { l.setPassword(""); }, false}),
    [](const auto& info) { return std::string(info.param.name); });

struct SiteCase {
    const char* a;
    const char* b;
    bool same;
    const char* host; // of a
};

class AutoFillSites : public testing::TestWithParam<SiteCase> {};

TEST_P(AutoFillSites, ALoginBelongsToItsOriginOnly)
{
    const SiteCase& c = GetParam();
    EXPECT_EQ(KTLoginData::sameSite(c.a, c.b), c.same) << c.a << " / " << c.b;
    EXPECT_EQ(KTLoginData::hostOf(c.a), c.host);
}

INSTANTIATE_TEST_SUITE_P(
    Addresses, AutoFillSites,
    testing::Values(SiteCase {"http://127.0.0.1:8080/login", "http://127.0.0.1:8080/?u=a#x", true, "127.0.0.1"},
                    SiteCase {"https://Mail.Example/", "https://mail.example:443/in", true, "Mail.Example"},
                    SiteCase {"http://127.0.0.1:8080/", "http://127.0.0.1:8081/", false, "127.0.0.1"},
                    SiteCase {"http://a.example/", "https://a.example/", false, "a.example"},
                    SiteCase {"https://a.example/", "https://a.example.evil/", false, "a.example"},
                    SiteCase {"file:///etc/passwd", "file:///etc/passwd", false, ""},
                    SiteCase {"about:blank", "about:blank", false, ""},
                    SiteCase {"not a url", "not a url", false, ""}));

} // namespace
