#include "KTDesktopEntry.h"
#include "TestEnvironment.h"
#include "ToolRunner.h"
#include "config/KTFileUtil.h"

#include <gio/gdesktopappinfo.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

using quilt::KTDesktopEntry;
using quilt::KTFileUtil;

struct QuoteCase {
    const char* path;
    const char* quoted;
};

void PrintTo(const QuoteCase& c, std::ostream* os) { *os << c.path; }

class QuiltCreateExecQuoting : public testing::TestWithParam<QuoteCase> {};

TEST_P(QuiltCreateExecQuoting, QuotesReservedCharactersAndDoublesPercent)
{
    EXPECT_EQ(KTDesktopEntry::quoteExecArgument(GetParam().path), GetParam().quoted);
    EXPECT_EQ(KTDesktopEntry::firstExecArgument(std::string(GetParam().quoted) + " %U"), GetParam().path);
}

INSTANTIATE_TEST_SUITE_P(Table, QuiltCreateExecQuoting,
                         testing::Values(QuoteCase{"/a/b", "/a/b"}, QuoteCase{"/my apps/x", "\"/my apps/x\""},
                                         QuoteCase{"/a$b", "\"/a\\$b\""}, QuoteCase{"/a\"b", "\"/a\\\"b\""},
                                         QuoteCase{"/a`b", "\"/a\\`b\""}, QuoteCase{"/a\\b", "\"/a\\\\b\""},
                                         QuoteCase{"/50%/x", "/50%%/x"}, QuoteCase{"/it's", "\"/it's\""},
                                         QuoteCase{"/a;b&c", "\"/a;b&c\""}));

// The program GLib starts for the entry: field codes expanded, then the
// command line split as a shell would.
std::string launchedProgram(GDesktopAppInfo* info)
{
    std::string line = g_app_info_get_commandline(G_APP_INFO(info));
    std::string expanded;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] == '%' && i + 1 < line.size()) {
            if (line[++i] == '%')
                expanded += '%';
            continue;
        }
        expanded += line[i];
    }
    gchar** argv = nullptr;
    if (!g_shell_parse_argv(expanded.c_str(), nullptr, &argv, nullptr))
        return {};
    std::string program = argv[0];
    g_strfreev(argv);
    return program;
}

class QuiltCreateDesktopEntry : public testing::Test {
protected:
    quilt::test::TestEnvironment env;
};

// The file must survive both the validator and GLib's own reading of it:
// launchers find the executable the way GLib does.
TEST_F(QuiltCreateDesktopEntry, AwkwardPathsStayValidAndLaunchable)
{
    for (const std::string folder : {"plain", "with space", "dollar$ and more", "quote\"back\\slash", "it's`tick`"}) {
        SCOPED_TRACE(folder);
        const std::string exe = env.root() + "/" + folder + "/Name.app/Contents/MacOS/DefaultApp";
        env.writeFile(exe, "#!/bin/sh\n");
        ::chmod(exe.c_str(), 0755);
        KTDesktopEntry e;
        e.name = "Name with \\ and\ttab";
        e.comment = "Web app for example.org";
        e.executable = exe;
        e.icon = env.root() + "/icon.png";
        e.wmClass = "org.quilt.apps.name_0123abcd";
        e.uniqueId = "0123abcd-0000-4000-8000-000000000000";
        e.url = "https://example.org/?a=1&b=%20";
        e.bundlePath = env.root() + "/" + folder + "/Name.app";
        const std::string file = env.root() + "/org.quilt.apps.name_0123abcd.desktop";
        env.writeFile(file, e.toData());

        auto check = quilt::test::ToolRunner::run({"/usr/bin/desktop-file-validate", file});
        EXPECT_EQ(check.exitCode, 0) << check.out << check.err;
        EXPECT_EQ(check.out + check.err, "");

        GDesktopAppInfo* info = g_desktop_app_info_new_from_filename(file.c_str());
        ASSERT_TRUE(info);
        EXPECT_EQ(launchedProgram(info), exe);
        EXPECT_EQ(std::string(g_desktop_app_info_get_startup_wm_class(info)), e.wmClass);
        g_object_unref(info);

        auto back = KTDesktopEntry::readFile(file);
        ASSERT_TRUE(back);
        EXPECT_EQ(back->name, e.name);
        EXPECT_EQ(back->executable, exe);
        EXPECT_EQ(back->url, e.url);
        EXPECT_EQ(back->uniqueId, e.uniqueId);
        EXPECT_EQ(back->bundlePath, e.bundlePath);
    }
}

TEST_F(QuiltCreateDesktopEntry, ForeignAndBrokenFilesReadAsNotOurs)
{
    auto foreign = KTDesktopEntry::fromData("[Desktop Entry]\nType=Application\nName=Other\nExec=other %U\n");
    ASSERT_TRUE(foreign);
    EXPECT_TRUE(foreign->uniqueId.empty());
    EXPECT_FALSE(KTDesktopEntry::fromData("[Other Group]\nName=x\n"));
    EXPECT_FALSE(KTDesktopEntry::fromData("not a key file at all\n\x01"));
    EXPECT_FALSE(KTDesktopEntry::readFile(env.root() + "/missing.desktop"));
}
