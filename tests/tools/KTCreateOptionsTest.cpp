#include "KTCreateFailure.h"
#include "KTCreateOptions.h"

#include <gtest/gtest.h>

using quilt::KTCreateFailure;
using quilt::KTCreateOptions;

TEST(QuiltCreateOptions, ReadsEveryOptionOfACreation)
{
    auto o = KTCreateOptions::parse({"--url", "https://example.org", "--name=Mail", "--icon", "i.png",
                                     "--window-size", "1280X800", "--opacity", "80", "--allow", "a*", "--allow=b",
                                     "--status-bar-option", "--user-script", "s.js", "--script-pattern", "*x*",
                                     "--dest", "/d", "--template", "/t", "--force"});
    EXPECT_EQ(o.command, KTCreateOptions::Command::Create);
    EXPECT_EQ(o.url, "https://example.org");
    EXPECT_EQ(o.name, "Mail");
    EXPECT_EQ(o.iconPath, "i.png");
    EXPECT_EQ(o.windowSize, "1280x800");
    EXPECT_EQ(o.opacityPercent, 80);
    EXPECT_EQ(o.allowPatterns, (std::vector<std::string>{"a*", "b"}));
    EXPECT_TRUE(o.statusBarOption);
    EXPECT_EQ(o.userScriptPath, "s.js");
    EXPECT_EQ(o.scriptPattern, "*x*");
    EXPECT_EQ(o.dest, "/d");
    EXPECT_EQ(o.templatePath, "/t");
    EXPECT_TRUE(o.force);
    EXPECT_FALSE(o.enterprise);
    EXPECT_FALSE(o.allowAll);
}

TEST(QuiltCreateOptions, CommandsOtherThanCreation)
{
    EXPECT_EQ(KTCreateOptions::parse({"--list"}).command, KTCreateOptions::Command::List);
    EXPECT_EQ(KTCreateOptions::parse({"--version"}).command, KTCreateOptions::Command::Version);
    // Help wins even over arguments that would be refused.
    EXPECT_EQ(KTCreateOptions::parse({"--opacity", "7", "--help"}).command, KTCreateOptions::Command::Help);
    auto r = KTCreateOptions::parse({"--remove", "Mail", "--purge"});
    EXPECT_EQ(r.command, KTCreateOptions::Command::Remove);
    EXPECT_EQ(r.removeName, "Mail");
    EXPECT_TRUE(r.purge);
    EXPECT_THROW(KTCreateOptions::parse({"--list", "--remove", "x"}), KTCreateFailure);
    EXPECT_THROW(KTCreateOptions::parse({"--url", "https://a.b", "--purge"}), KTCreateFailure);
}

struct SizeCase {
    const char* text;
    const char* expected; // nullptr: refused
};

void PrintTo(const SizeCase& c, std::ostream* os) { *os << c.text; }

class QuiltCreateWindowSize : public testing::TestWithParam<SizeCase> {};

TEST_P(QuiltCreateWindowSize, Normalises)
{
    auto got = KTCreateOptions::normaliseWindowSize(GetParam().text);
    if (GetParam().expected)
        EXPECT_EQ(got, std::string(GetParam().expected));
    else
        EXPECT_FALSE(got) << *got;
}

INSTANTIATE_TEST_SUITE_P(Table, QuiltCreateWindowSize,
                         testing::Values(SizeCase{"1024x768", "1024x768"}, SizeCase{"100X100", "100x100"},
                                         SizeCase{"16384x16384", "16384x16384"}, SizeCase{"99x100", nullptr},
                                         SizeCase{"100x16385", nullptr}, SizeCase{"1024x", nullptr},
                                         SizeCase{"x768", nullptr}, SizeCase{"1024*768", nullptr},
                                         SizeCase{"1024x768x2", nullptr}, SizeCase{"-800x600", nullptr},
                                         SizeCase{"800.5x600", nullptr}, SizeCase{" 800x600", nullptr}));

TEST(QuiltCreateOptions, NamesThatCannotBeAFolderOrALauncherName)
{
    for (const char* bad : {"", "a/b", "50% off", ".hidden", " lead", "trail ", "tab\there", "new\nline", "\xff\xfe"})
        EXPECT_TRUE(KTCreateOptions::nameProblem(bad)) << bad;
    EXPECT_TRUE(KTCreateOptions::nameProblem(std::string(201, 'a')));
    for (const char* good : {"Mail", "example.org", "Été Ölmühle", "a b", "x:y", "$HOME's app"})
        EXPECT_FALSE(KTCreateOptions::nameProblem(good)) << good;
}
