#pragma once

#include "core/web/KTNamedList.h"
#include "core/web/KTRule.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// The user scripts of an app: rules whose script is injected into the pages
// whose URLs match one of the rule's patterns. The file lives inside the
// app bundle ("Contents/Resources/Scripts/userscripts.json"): the scripts are
// part of the app the creation tool built, and the bundle may be read-only.
//
// Rules keep the order in which they were added or loaded (a replaced rule
// keeps its place), so when several rules match a URL the same one wins on
// every run. Nothing is written until saveJson().
class KTScriptsManager {
public:
    static KTScriptsManager& sharedManager();
    static std::unique_ptr<KTScriptsManager> create();
    // A store on an explicit file (tests, tools); loads it.
    explicit KTScriptsManager(std::string jsonPath);
    virtual ~KTScriptsManager() = default;
    KTScriptsManager(const KTScriptsManager&) = delete;
    KTScriptsManager& operator=(const KTScriptsManager&) = delete;

    // "%@/Contents/Resources/Scripts/userscripts.json" in the running bundle.
    static std::string defaultPath();
    const std::string& getJsonPath() const { return jsonPath_; }

    // Reads the file: a missing or empty file keeps the rules as they are, a
    // file that does not parse is logged and changes nothing, otherwise the
    // file's rules replace the current ones (rules without a name dropped, a
    // later rule of a name replacing an earlier one).
    void loadJson();
    // Writes every rule as a compact JSON array, atomically; false (and a
    // log line) when the file cannot be written, leaving it as it was.
    bool saveJson();

    void addRuleState(const std::string& name, int64_t state);
    void renameRuleToName(const std::string& oldName, const std::string& newName);
    void removeRule(const std::string& name);
    void addPatternForRuleState(const std::string& pattern, const std::string& rule, int64_t state);
    void renamePatternToNameForRule(const std::string& oldName, const std::string& newName, const std::string& rule);
    void removePatternFromRule(const std::string& pattern, const std::string& rule);
    void addScriptForRule(const std::string& text, const std::string& rule);
    std::optional<std::string> scriptForRule(const std::string& rule) const;
    // 0 for an unknown rule or pattern.
    int64_t getRuleState(const std::string& rule) const;
    int64_t getPatternStateForRulule(const std::string& pattern, const std::string& rule) const;
    void setStateForRule(int64_t state, const std::string& rule);
    void setStateForRuleForPattern(int64_t state, const std::string& rule, const std::string& pattern);

    // Names sorted so that "Rule 9" comes before "Rule 10"; nullopt for an
    // unknown rule.
    std::optional<std::vector<std::string>> patternsNamesForRule(const std::string& rule) const;
    std::vector<std::string> rulesArray() const;

    // The text to inject for a URL: that of the first enabled rule with a
    // matching pattern, or nullopt.
    std::optional<std::string> findScriptFor(std::string_view url) const;

    const std::vector<KTRule>& rules() const { return rules_.items(); }
    KTRule* findRule(std::string_view name);
    const KTRule* findRule(std::string_view name) const;

    // Text order with runs of digits compared by their value, as a numeric
    // string comparison does ("a2" < "a10"); <0, 0 or >0. Equal values with
    // different zero padding are told apart by plain order last, so sorting
    // is stable across runs.
    static int numericCompare(std::string_view a, std::string_view b);

private:
    std::string jsonPath_;
    KTNamedList<KTRule> rules_;
};

} // namespace quilt
