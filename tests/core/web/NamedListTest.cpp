// The named list behind rules and their patterns: insertion order kept by
// replacing and renaming in place, renaming onto a taken name, unknown names.

#include "core/web/KTNamedList.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <utility>
#include <vector>

using namespace quilt;

namespace {

struct Item {
    std::string name;
    int value = 0;
};

using List = KTNamedList<Item>;
using Contents = std::vector<std::pair<std::string, int>>;

Contents contents(const List& list)
{
    Contents out;
    for (const Item& item : list.items())
        out.emplace_back(item.name, item.value);
    return out;
}

// Every case starts from a = 1, b = 2, c = 3.
struct ListCase {
    const char* name;
    std::function<bool(List&)> change; // returns what rename returns, else true
    bool returned;
    Contents after;
};

class NamedList : public ::testing::TestWithParam<ListCase> {};

TEST_P(NamedList, KeepsOrderAndUniqueNames)
{
    List list;
    for (auto [name, value] : Contents{{"a", 1}, {"b", 2}, {"c", 3}})
        list.put({name, value});
    EXPECT_EQ(GetParam().change(list), GetParam().returned);
    EXPECT_EQ(contents(list), GetParam().after);
    for (const auto& [name, value] : GetParam().after) {
        ASSERT_NE(list.find(name), nullptr) << name;
        EXPECT_EQ(list.find(name)->value, value);
    }
    // Names renamed or removed away are not found any more.
    for (const char* name : {"a", "b", "c", "d", "x", "z"})
        if (std::none_of(GetParam().after.begin(), GetParam().after.end(), [&](auto& e) { return e.first == name; }))
            EXPECT_EQ(list.find(name), nullptr) << name;
}

bool put(List& l, const char* name, int value)
{
    l.put({name, value});
    return true;
}

bool remove(List& l, const char* name)
{
    l.remove(name);
    return true;
}

INSTANTIATE_TEST_SUITE_P(
    Table, NamedList,
    ::testing::Values(
        ListCase{"PutNewAppends", [](List& l) { return put(l, "d", 4); }, true,
                 {{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}}},
        ListCase{"PutTakenReplacesInPlace", [](List& l) { return put(l, "b", 9); }, true,
                 {{"a", 1}, {"b", 9}, {"c", 3}}},
        ListCase{"RenameKeepsPlace", [](List& l) { return l.rename("b", "x"); }, true, {{"a", 1}, {"x", 2}, {"c", 3}}},
        ListCase{"RenameOntoEarlierName", [](List& l) { return l.rename("c", "a"); }, true, {{"b", 2}, {"a", 3}}},
        ListCase{"RenameOntoLaterName", [](List& l) { return l.rename("a", "c"); }, true, {{"c", 1}, {"b", 2}}},
        ListCase{"RenameToItself", [](List& l) { return l.rename("b", "b"); }, false, {{"a", 1}, {"b", 2}, {"c", 3}}},
        ListCase{"RenameUnknownKeepsTarget", [](List& l) { return l.rename("z", "a"); }, false,
                 {{"a", 1}, {"b", 2}, {"c", 3}}},
        ListCase{"RemoveKeepsOrder", [](List& l) { return remove(l, "b"); }, true, {{"a", 1}, {"c", 3}}},
        ListCase{"RemoveUnknown", [](List& l) { return remove(l, "z"); }, true, {{"a", 1}, {"b", 2}, {"c", 3}}},
        // The names may be the items' own text, which renaming and removing move.
        ListCase{"RenameByItemsOwnNames",
                 [](List& l) { return l.rename(l.items()[2].name, l.items()[0].name); }, true, {{"b", 2}, {"a", 3}}},
        ListCase{"RemoveByItemsOwnName", [](List& l) { return remove(l, l.items()[0].name.c_str()); }, true,
                 {{"b", 2}, {"c", 3}}}),
    [](const auto& info) { return std::string(info.param.name); });

} // namespace
