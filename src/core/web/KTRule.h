#pragma once

#include "core/web/KTNamedList.h"
#include "core/web/KTPattern.h"

#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// A user script or style rule: a name, an on/off state, one text (script
// or CSS) and the URL patterns it applies to. Patterns keep the order in
// which they were added (a replaced pattern keeps its place), so the first
// match is the same on every run.
class KTRule : public KTPattern {
public:
    KTRule() = default;
    KTRule(std::string name, int64_t state)
        : KTPattern(std::move(name), state)
    {
    }

    // From a file object: name and state as a pattern has them, "script",
    // and the patterns from the values of the "pattern" object, keyed by
    // their inner "name" (the member names are not used). nullopt without a
    // string name; patterns without one are dropped.
    static std::optional<KTRule> initWithDictionary(const KTJson& dictionary);
    KTJson toDictionary() const;

    // Adds the pattern, or replaces the one of the same name in place.
    void addPatternWithState(const std::string& pattern, int64_t state);
    // Re-keys the pattern and gives it the new name (its text); a pattern
    // already holding the new name is replaced. Nothing when old is unknown.
    void renamePatternTo(const std::string& oldName, const std::string& newName);
    void removePattern(const std::string& pattern);
    // Exact lookup by name.
    KTPattern* findPattern(std::string_view pattern);
    const KTPattern* findPattern(std::string_view pattern) const;

    // The first pattern (in order) that matches the URL: its text occurs in
    // the URL as it stands, or its "*"-separated fragments occur in order.
    // Pattern states are not consulted; "*" and "" match every URL.
    const KTPattern* findPatternThatContans(std::string_view url) const;

    const std::vector<KTPattern>& patterns() const { return patterns_.items(); }
    std::vector<std::string> patternNames() const { return patterns_.names(); }

    std::string script;

    bool operator==(const KTRule&) const = default;

private:
    KTNamedList<KTPattern> patterns_;
};

} // namespace quilt
