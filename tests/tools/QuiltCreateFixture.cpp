#include "QuiltCreateFixture.h"

#include "config/KTBundle.h"
#include "config/KTFileUtil.h"
#include "config/KTPlist.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace quilt::test {

QuiltCreateFixture::QuiltCreateFixture()
{
    // The tests choose the template themselves.
    if (const char* t = std::getenv("QUILT_TEMPLATE")) {
        hadTemplate_ = true;
        savedTemplate_ = t;
    }
    ::unsetenv("QUILT_TEMPLATE");
}

QuiltCreateFixture::~QuiltCreateFixture()
{
    if (hadTemplate_)
        ::setenv("QUILT_TEMPLATE", savedTemplate_.c_str(), 1);
    else
        ::unsetenv("QUILT_TEMPLATE");
}

ToolRunner::Result QuiltCreateFixture::tool(const std::vector<std::string>& args)
{
    std::vector<std::string> argv = {QUILT_CREATE_EXE};
    argv.insert(argv.end(), args.begin(), args.end());
    return ToolRunner::run(argv);
}

std::string QuiltCreateFixture::make(const std::vector<std::string>& args)
{
    auto r = tool(args);
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err, "");
    auto lines = r.outLines();
    return lines.empty() ? std::string() : lines.back();
}

std::vector<std::string> QuiltCreateFixture::entries(const std::string& folder)
{
    std::vector<std::string> out;
    std::error_code ec;
    for (const auto& e : std::filesystem::directory_iterator(folder, ec))
        out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

std::vector<std::string> QuiltCreateFixture::desktopFiles() const
{
    std::vector<std::string> out;
    for (const auto& name : entries(applicationsFolder()))
        if (name.size() > 8 && name.compare(name.size() - 8, 8, ".desktop") == 0)
            out.push_back(name);
    return out;
}

std::string QuiltCreateFixture::uniqueIdOf(const std::string& bundle)
{
    return KTBundle(bundle).uniqueIdentifier().value_or(std::string());
}

std::string QuiltCreateFixture::bundleIdOf(const std::string& bundle) { return KTBundle(bundle).bundleIdentifier(); }

KTJson QuiltCreateFixture::plist(const std::string& path) { return KTPlist::readFile(path).value_or(KTJson()); }

std::string QuiltCreateFixture::file(const std::string& name, const std::string& content)
{
    const std::string path = env.root() + "/" + name;
    env.writeFile(path, content);
    return path;
}

} // namespace quilt::test
