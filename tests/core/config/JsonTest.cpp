// KTJson's insertion-ordered, hashed object map and the value helpers.

#include "core/config/KTJson.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <random>

using namespace quilt;

namespace {

// The reference: keys in insertion order, values by key.
struct Model {
    std::vector<std::string> order;
    std::map<std::string, int> values;

    void set(const std::string& k, int v)
    {
        if (!values.count(k))
            order.push_back(k);
        values[k] = v;
    }
    void erase(const std::string& k)
    {
        if (values.erase(k))
            order.erase(std::find(order.begin(), order.end(), k));
    }
};

void expectSame(const KTJson& object, const Model& model)
{
    ASSERT_EQ(object.size(), model.order.size());
    size_t i = 0;
    for (auto it = object.begin(); it != object.end(); ++it, ++i) {
        ASSERT_EQ(it.key(), model.order[i]) << "position " << i;
        ASSERT_EQ(it.value(), model.values.at(it.key()));
    }
    for (const auto& [k, v] : model.values) {
        ASSERT_TRUE(object.contains(k)) << k;
        ASSERT_EQ(object.at(k), v);
        ASSERT_EQ(object.count(k), 1u);
    }
}

std::string keyFor(std::mt19937& rng, int space) { return "title " + std::to_string(rng() % space) + " é"; }

TEST(JsonOrderedMap, RandomOperationsMatchAModel)
{
    std::mt19937 rng(12345);
    // Small key spaces stay below the indexed size, large ones cross it often.
    for (int space : {8, 30, 400, 5000}) {
        KTJson object = KTJson::object();
        Model model;
        for (int step = 0; step < 6000; ++step) {
            const std::string k = keyFor(rng, space);
            switch (rng() % 7) {
            case 0:
            case 1:
            case 2:
                object[k] = step;
                model.set(k, step);
                break;
            case 3:
                object.erase(k);
                model.erase(k);
                ASSERT_FALSE(object.contains(k));
                break;
            case 4: { // erase through an iterator, then look up a neighbour
                if (object.empty())
                    break;
                auto it = std::next(object.begin(), static_cast<std::ptrdiff_t>(rng() % object.size()));
                const std::string gone = it.key();
                object.erase(it);
                model.erase(gone);
                ASSERT_FALSE(object.contains(gone));
                if (!model.order.empty()) {
                    const std::string& other = model.order[rng() % model.order.size()];
                    ASSERT_EQ(object[other], model.values[other]);
                }
                break;
            }
            case 5: {
                auto [it, inserted] = object.get_ref<KTJson::object_t&>().emplace(k, KTJson(step));
                ASSERT_EQ(inserted, !model.values.count(k));
                if (inserted)
                    model.set(k, step);
                ASSERT_EQ(it->first, k);
                break;
            }
            case 6:
                ASSERT_EQ(object.contains(k), model.values.count(k) == 1);
                break;
            }
        }
        expectSame(object, model);
    }
}

TEST(JsonOrderedMap, CopiesKeepTheirOwnIndex)
{
    KTJson a = KTJson::object();
    for (int i = 0; i < 100; ++i)
        a["k" + std::to_string(i)] = i;
    ASSERT_EQ(a["k50"], 50); // builds the index
    KTJson b = a;
    b.erase("k0");
    b["new"] = -1;
    a.erase("k99");
    for (int i = 1; i < 99; ++i) {
        ASSERT_EQ(a["k" + std::to_string(i)], i);
        ASSERT_EQ(b["k" + std::to_string(i)], i);
    }
    EXPECT_TRUE(a.contains("k0") && !b.contains("k0") && b.contains("k99") && !a.contains("new"));
    EXPECT_EQ(b.begin().key() + " .. " + std::prev(b.end()).key(), "k1 .. new");

    KTJson moved = std::move(b);
    EXPECT_EQ(moved["k98"], 98);
    KTJson assigned = KTJson::object();
    assigned["x"] = 1;
    assigned = a;
    assigned["k200"] = 200;
    EXPECT_EQ(assigned["k3"], 3);
    EXPECT_FALSE(assigned.contains("x"));
}

TEST(JsonHelpers, CompactReplacesInvalidUtf8InsteadOfThrowing)
{
    KTJson v = {{"title", std::string("caf\xe9")}};
    EXPECT_EQ(json::compact(v), "{\"title\":\"caf\xEF\xBF\xBD\"}");
}

TEST(JsonHelpers, NumbersOutOfRangeSaturateInsteadOfOverflowing)
{
    const KTJson o = {{"huge", 1e300}, {"tiny", -1e300}, {"nan", "nan"}, {"text", "12x"}, {"plain", 7.9}};
    EXPECT_EQ(json::intFor(o, "huge"), std::numeric_limits<int64_t>::max());
    EXPECT_EQ(json::intFor(o, "tiny"), std::numeric_limits<int64_t>::min());
    EXPECT_EQ(json::intFor(o, "nan"), 0);
    EXPECT_EQ(json::intFor(o, "text"), 12);
    EXPECT_EQ(json::intFor(o, "plain"), 7);
    EXPECT_EQ(json::unsignedFor(o, "huge"), static_cast<uint64_t>(std::numeric_limits<int64_t>::max()));
    EXPECT_EQ(json::doubleFor(o, "text"), 12.0);
}

} // namespace
