#include "support/DunstWatcher.h"

#include "TestEnvironment.h"
#include "core/config/KTJson.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

namespace quilt::test {

namespace {

std::string dunstctl(const std::vector<std::string>& args)
{
    std::vector<std::string> argv{"dunstctl"};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv, std::chrono::seconds(20)).out;
}

std::string field(const KTJson& record, const char* key)
{
    auto it = record.find(key);
    if (it == record.end() || !it->is_object() || !it->contains("data") || !(*it)["data"].is_string())
        return {};
    return (*it)["data"].get<std::string>();
}

} // namespace

int DunstWatcher::displayed() { return std::atoi(dunstctl({"count", "displayed"}).c_str()); }

std::vector<ShownNotification> DunstWatcher::closeAllAndReadHistory()
{
    dunstctl({"close-all"});
    auto history = json::parse(dunstctl({"history"}));
    std::vector<ShownNotification> shown;
    if (!history || !history->contains("data") || !(*history)["data"].is_array() || (*history)["data"].empty())
        return shown;
    for (const KTJson& record : (*history)["data"][0])
        shown.push_back({field(record, "appname"), field(record, "summary"), field(record, "body")});
    // dunst lists the newest first.
    std::reverse(shown.begin(), shown.end());
    return shown;
}

std::vector<ShownNotification> DunstWatcher::shownWithSummary(const std::string& summary)
{
    std::vector<ShownNotification> matching;
    for (auto& n : closeAllAndReadHistory())
        if (n.summary == summary)
            matching.push_back(n);
    return matching;
}

void DunstWatcher::clickLatest() { dunstctl({"action"}); }

} // namespace quilt::test
