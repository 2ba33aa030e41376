#pragma once

#include "TestEnvironment.h"
#include "ToolRunner.h"
#include "config/KTJson.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace quilt::test {

// A private HOME in which the built quilt-create runs, with helpers to look
// at what it left behind.
class QuiltCreateFixture : public testing::Test {
protected:
    QuiltCreateFixture();
    ~QuiltCreateFixture() override;

    TestEnvironment env;

    // Runs the built tool with these arguments.
    ToolRunner::Result tool(const std::vector<std::string>& args);
    // Runs it to make an app and expects success; returns the bundle path.
    std::string make(const std::vector<std::string>& args);

    std::string dataHome() const { return env.home() + "/.local/share"; }
    std::string appsFolder() const { return dataHome() + "/quilt/apps"; }
    std::string applicationsFolder() const { return dataHome() + "/applications"; }
    std::string dataFolderOf(const std::string& uniqueId) const { return dataHome() + "/Quilt/" + uniqueId; }

    // Names in a folder (dot files too); empty when it does not exist.
    static std::vector<std::string> entries(const std::string& folder);
    std::vector<std::string> desktopFiles() const;
    static std::string uniqueIdOf(const std::string& bundle);
    static std::string bundleIdOf(const std::string& bundle);
    static KTJson plist(const std::string& path);
    // Makes a file at path; returns it.
    std::string file(const std::string& name, const std::string& content);

private:
    std::string savedTemplate_;
    bool hadTemplate_ = false;
};

} // namespace quilt::test
