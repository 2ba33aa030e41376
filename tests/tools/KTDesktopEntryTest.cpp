#include "KTDesktopEntry.h"

#include <gtest/gtest.h>

using quilt::KTDesktopEntry;

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
