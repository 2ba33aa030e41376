#include "KTDesktopEntry.h"
#include "TestEnvironment.h"
#include "core/config/KTFileUtil.h"

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
