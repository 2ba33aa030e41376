#include "core/services/KTNotificationMessage.h"
#include "core/services/KTNotificationThrottle.h"

#include <gtest/gtest.h>

#include <string>

using namespace quilt;

namespace {

using Actions = std::vector<KTNotificationActionInfo>;

struct GoodCase {
    const char* name;
    const char* body;
    KTNotificationInfo expected; // subTitle "site.example", identifier "ID-1"
};

KTNotificationInfo shown(std::optional<std::string> title, std::string message, Actions actions = {})
{
    return {std::move(title), "site.example", std::move(message), "ID-1", std::move(actions)};
}

class NotificationMessageGood : public testing::TestWithParam<GoodCase> {};

// What reaches the desktop for each shape a page's notification can take.
TEST_P(NotificationMessageGood, BecomesTheNotification)
{
    auto body = json::parse(GetParam().body);
    ASSERT_TRUE(body) << GetParam().body;
    EXPECT_EQ(KTNotificationMessage::parse(*body, "site.example", "ID-1"), GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, NotificationMessageGood,
    testing::Values(
        GoodCase{"TitleOnly", R"(["Hi"])", shown("Hi", "")},
        GoodCase{"EmptyArrayHasNoTitle", R"([])", shown(std::nullopt, "")},
        GoodCase{"BodyText", R"(["Hi", {"body": "There"}])", shown("Hi", "There")},
        // The tag never reaches the desktop, whatever its type.
        GoodCase{"TagIsDropped", R"(["Hi", {"body": "b", "tag": "t-1"}])", shown("Hi", "b")},
        GoodCase{"TagOfAnyType", R"(["Hi", {"tag": {"x": [1]}}])", shown("Hi", "")},
        GoodCase{"ActionsInOrderUntitledLabelledByName",
                 R"(["Hi", {"actions": [{"action": "open", "title": "Open"}, {"action": "later"}]}])",
                 shown("Hi", "", Actions{{"open", "Open"}, {"later", "later"}})},
        GoodCase{"ActionWithoutNameIsSkipped",
                 R"(["Hi", {"actions": [{"title": "Nameless"}, {"action": "a", "title": "A"}]}])",
                 shown("Hi", "", Actions{{"a", "A"}})},
        GoodCase{"EmptyActions", R"(["Hi", {"actions": []}])", shown("Hi", "")},
        GoodCase{"UnknownKeysAndExtraElementsIgnored", R"(["Hi", {"icon": "x.png", "x": 1}, "more", 3])",
                 shown("Hi", "")},
        GoodCase{"UnicodeKept", R"(["Grüße ✓", {"body": "日本語 <b>&amp;</b>"}])",
                 shown("Grüße ✓", "日本語 <b>&amp;</b>")}),
    [](const auto& p) { return std::string(p.param.name); });

struct HostileCase {
    const char* name;
    const char* body;
};

class NotificationMessageHostile : public testing::TestWithParam<HostileCase> {};

// Anything else a page can post gives no notification at all.
TEST_P(NotificationMessageHostile, GivesNothing)
{
    auto body = json::parse(GetParam().body);
    ASSERT_TRUE(body) << GetParam().body;
    EXPECT_EQ(KTNotificationMessage::parse(*body, "site.example", "ID-1"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Bodies, NotificationMessageHostile,
    testing::Values(HostileCase{"String", R"("Hi")"}, HostileCase{"Object", R"({"0": "Hi"})"},
                    HostileCase{"NumberTitle", R"([7])"}, HostileCase{"NullTitle", R"([null])"},
                    HostileCase{"OptionsNotObject", R"(["Hi", "body"])"},
                    HostileCase{"OptionsNull", R"(["Hi", null])"},
                    HostileCase{"NumberBody", R"(["Hi", {"body": 5}])"},
                    HostileCase{"NullBody", R"(["Hi", {"body": null}])"},
                    HostileCase{"ActionsNotArray", R"(["Hi", {"actions": "open"}])"},
                    HostileCase{"ActionNotObject", R"(["Hi", {"actions": ["open"]}])"},
                    HostileCase{"ActionNameNumber", R"(["Hi", {"actions": [{"action": 1}]}])"},
                    HostileCase{"ActionTitleObject", R"(["Hi", {"actions": [{"action": "a", "title": {}}]}])"}),
    [](const auto& p) { return std::string(p.param.name); });

// More buttons than the helper takes is refused here already; up to the limit passes.
TEST(NotificationMessage, ActionCountIsBounded)
{
    auto withActions = [](size_t n) {
        KTJson actions = KTJson::array();
        for (size_t i = 0; i < n; ++i)
            actions.push_back({{"action", "a" + std::to_string(i)}});
        return KTJson::array({"Hi", {{"actions", actions}}});
    };
    auto limit = KTNotificationMessage::parse(withActions(KTNotificationInfo::kMaxActions), std::nullopt, "ID");
    ASSERT_TRUE(limit);
    EXPECT_EQ(limit->actions->size(), KTNotificationInfo::kMaxActions);
    EXPECT_EQ(limit->subTitle, std::nullopt);
    EXPECT_FALSE(KTNotificationMessage::parse(withActions(KTNotificationInfo::kMaxActions + 1), std::nullopt, "ID"));
}

// The throttle's rate limit (whose refill rules the value tests check) is
// set up as a burst, then one per interval.
TEST(NotificationThrottle, BurstThenOnePerInterval)
{
    KTNotificationThrottle throttle;
    const auto t0 = KTNotificationThrottle::Clock::time_point() + std::chrono::hours(1);
    int allowed = 0;
    for (int i = 0; i < 100; ++i)
        allowed += throttle.allow(t0);
    EXPECT_EQ(allowed, KTNotificationThrottle::kBurst);
    EXPECT_FALSE(throttle.allow(t0 + KTNotificationThrottle::kInterval / 2));
    EXPECT_TRUE(throttle.allow(t0 + KTNotificationThrottle::kInterval));
}

} // namespace
