#include "TestEnvironment.h"

#include "core/config/KTJson.h"
#include "core/web/KTScriptsManager.h"
#include "core/web/KTStylesManager.h"

#include <gtest/gtest.h>

using namespace quilt;

namespace {

// The environment resets the shared script and style stores around each test.
class UserScripts : public testing::Test {
protected:
    std::string scriptsPath() const { return env.bundlePath() + "/Contents/Resources/Scripts/userscripts.json"; }

    test::TestEnvironment env;
};

TEST(RulePatterns, FindPatternThatContains)
{
    KTRule rule("R", 1);
    rule.addPatternWithState("*mail.example*", 1);
    rule.addPatternWithState("https://docs.example/*/edit", 0); // disabled, still matches
    rule.addPatternWithState("literal*star", 1);

    struct {
        const char* url;
        const char* pattern; // nullptr: no match
    } cases[] = {
        {"https://mail.example/inbox", "*mail.example*"},
        {"https://docs.example/d/42/edit", "https://docs.example/*/edit"},
        // First occurrences must not go backwards.
        {"https://x.test/edit?from=https://docs.example/", nullptr},
        // A pattern holding "*" that occurs literally matches by the first test.
        {"https://x.test/?q=literal*star", "literal*star"},
        {"https://x.test/literal-and-star", "literal*star"},
        // Matching is case-sensitive.
        {"https://MAIL.EXAMPLE/", nullptr},
        {"https://other.test/", nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.url);
        const KTPattern* p = rule.findPatternThatContans(c.url);
        if (c.pattern) {
            ASSERT_NE(p, nullptr);
            EXPECT_EQ(p->name, c.pattern);
        } else {
            EXPECT_EQ(p, nullptr);
        }
    }
}

TEST(RulePatterns, StarAndEmptyMatchEverything)
{
    for (const char* pattern : {"*", "", "**"}) {
        SCOPED_TRACE(pattern);
        KTRule rule("R", 1);
        rule.addPatternWithState(pattern, 1);
        EXPECT_NE(rule.findPatternThatContans("https://anything.test/"), nullptr);
        EXPECT_NE(rule.findPatternThatContans(""), nullptr);
    }
}

TEST(RulePatterns, FirstPatternInInsertionOrderWins)
{
    KTRule rule("R", 1);
    rule.addPatternWithState("*b*", 1);
    rule.addPatternWithState("*a*", 1);
    rule.addPatternWithState("*b*", 0); // replaced in place, keeps its position
    EXPECT_EQ(rule.findPatternThatContans("ab")->name, "*b*");
    EXPECT_EQ(rule.findPattern("*b*")->state, 0);
    rule.renamePatternTo("*b*", "*a*"); // onto the other one, as the named list renames
    EXPECT_EQ(rule.patterns(), (std::vector<KTPattern>{{"*a*", 0}}));
}

TEST_F(UserScripts, FindScriptForSkipsDisabledRulesOnly)
{
    KTScriptsManager store(scriptsPath());
    store.addRuleState("Off", 0);
    store.addPatternForRuleState("*", "Off", 1);
    store.addScriptForRule("off()", "Off");
    store.addRuleState("Mail", 1);
    store.addPatternForRuleState("*mail.example*", "Mail", 0); // disabled pattern: still matches
    store.addScriptForRule("mail()", "Mail");
    store.addRuleState("Docs", 1);
    store.addPatternForRuleState("*docs.example*", "Docs", 1);
    store.addScriptForRule("docs()", "Docs");

    EXPECT_EQ(store.findScriptFor("https://mail.example/"), "mail()");
    EXPECT_EQ(store.findScriptFor("https://docs.example/"), "docs()");
    EXPECT_EQ(store.findScriptFor("https://other.test/"), std::nullopt);
    // Turning the catch-all on makes it win: it comes first.
    store.setStateForRule(1, "Off");
    EXPECT_EQ(store.findScriptFor("https://mail.example/"), "off()");
    // Two enabled rules match: exactly one text, the same every time.
    store.setStateForRule(0, "Off");
    store.addPatternForRuleState("*example*", "Docs", 1);
    EXPECT_EQ(store.findScriptFor("https://mail.example/"), "mail()");
    EXPECT_EQ(store.findScriptFor("https://mail.example/"), "mail()");
}

TEST_F(UserScripts, SaveAndLoadRoundTrip)
{
    {
        KTScriptsManager store(scriptsPath());
        store.addRuleState("Rule 10", 1);
        store.addScriptForRule("console.log(`multi\nline`);", "Rule 10");
        store.addPatternForRuleState("*domain_1*", "Rule 10", 1);
        store.addPatternForRuleState("https://ünï.example/*", "Rule 10", 0);
        store.addRuleState("Rule 9", 0);
        store.addPatternForRuleState("*", "Rule 9", 1);
        store.addRuleState("No patterns", 1);
        ASSERT_TRUE(store.saveJson()); // creates Scripts/ inside the bundle
    }
    KTScriptsManager reloaded(scriptsPath());
    ASSERT_EQ(reloaded.rules().size(), 3u);
    EXPECT_EQ(reloaded.rulesArray(), (std::vector<std::string>{"No patterns", "Rule 9", "Rule 10"}));
    const KTRule* r = reloaded.findRule("Rule 10");
    ASSERT_NE(r, nullptr);
    EXPECT_EQ(r->state, 1);
    EXPECT_EQ(r->script, "console.log(`multi\nline`);");
    EXPECT_EQ(r->patterns(), (std::vector<KTPattern>{{"*domain_1*", 1}, {"https://ünï.example/*", 0}}));
    EXPECT_EQ(reloaded.getRuleState("Rule 9"), 0);
    EXPECT_EQ(reloaded.getPatternStateForRulule("*", "Rule 9"), 1);
    // Insertion order survives too, so the same rule wins after a restart.
    EXPECT_EQ(reloaded.rules()[0].name, "Rule 10");

    // The file format: a compact array of rule objects.
    KTJson file = env.readJson(scriptsPath());
    ASSERT_TRUE(file.is_array());
    EXPECT_EQ(file[0]["pattern"]["*domain_1*"], KTJson({{"name", "*domain_1*"}, {"state", 1}}));
    EXPECT_EQ(env.readFile(scriptsPath()).find('\n'), std::string::npos);
}

TEST_F(UserScripts, LoadFollowsTheFileFormat)
{
    env.writeFile(scriptsPath(), R"json([
        {"name": "A", "state": 1, "script": "a()",
         "pattern": {"outer key ignored": {"name": "*a*", "state": 1},
                     "no name": {"state": 1},
                     "not an object": 5}},
        {"state": 1, "script": "nameless()", "pattern": {"x": {"name": "*", "state": 1}}},
        {"name": 7, "state": 1},
        "not a rule",
        {"name": "B", "script": "b1()"},
        {"name": "C", "state": "1", "pattern": []},
        {"name": "B", "state": 1, "script": "b2()", "pattern": {"p": {"name": "*b*"}}}
    ])json");
    KTScriptsManager store(scriptsPath());
    EXPECT_EQ(store.rulesArray(), (std::vector<std::string>{"A", "B", "C"}));
    EXPECT_EQ(store.patternsNamesForRule("A"), std::vector<std::string>{"*a*"});
    // The later "B" replaced the earlier one, in its place.
    EXPECT_EQ(store.rules()[1].name, "B");
    EXPECT_EQ(store.scriptForRule("B"), "b2()");
    EXPECT_EQ(store.getPatternStateForRulule("*b*", "B"), 0); // missing state is 0
    EXPECT_EQ(store.getRuleState("C"), 1);
    // The nameless rule's catch-all was dropped with it.
    EXPECT_EQ(store.findScriptFor("https://zzz.test/"), std::nullopt);
}

TEST_F(UserScripts, CorruptOrOddFilesKeepWhatIsThere)
{
    for (const char* content : {"[{\"name\": \"A\",", "{\"name\": \"A\"}", "null", "\"text\"", "\xff\xfe"}) {
        SCOPED_TRACE(content);
        env.writeFile(scriptsPath(), content);
        test::LogCapture log;
        KTScriptsManager store(scriptsPath());
        EXPECT_TRUE(store.rules().empty());
        EXPECT_EQ(log.lines().size(), 1u);

        // A reload of a broken file does not wipe rules already loaded...
        store.addRuleState("Mine", 1);
        store.loadJson();
        EXPECT_EQ(store.rulesArray(), std::vector<std::string>{"Mine"});
        // ...and the next save replaces the broken file.
        ASSERT_TRUE(store.saveJson());
        EXPECT_EQ(KTScriptsManager(scriptsPath()).rulesArray(), std::vector<std::string>{"Mine"});
    }
    // Missing and empty files are no error.
    env.writeFile(scriptsPath(), "");
    test::LogCapture log;
    EXPECT_TRUE(KTScriptsManager(scriptsPath()).rules().empty());
    EXPECT_TRUE(KTScriptsManager(env.root() + "/nowhere/userscripts.json").rules().empty());
    EXPECT_TRUE(log.lines().empty());
}

TEST(StyleWrapper, CssGoesInAsTextWhateverItHolds)
{
    // Whatever a style or font name holds, even text that tries to leave the
    // literal, the script carries exactly that text.
    for (std::string hostile : {std::string("a {\ncolor: red;\n}"), std::string("x`; document.title = 'owned'; `"),
                                std::string("${alert(1)}\\\"</style>"), std::string("a\u2028b\0c", 7),
                                KTStylesManager::fontStyle("Evil`+alert(1)+`", 12)}) {
        const std::string script = KTStylesManager::wrapStyle(hostile);
        const std::string head = "(function() {var css = ";
        ASSERT_EQ(script.rfind(head, 0), 0u);
        const size_t end = script.find(";\nif (typeof GM_addStyle");
        auto literal = json::parse(std::string_view(script).substr(head.size(), end - head.size()));
        ASSERT_TRUE(literal && literal->is_string()) << script;
        EXPECT_EQ(literal->get<std::string>(), hostile);
    }
}

} // namespace
