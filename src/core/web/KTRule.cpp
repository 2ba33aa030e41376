#include "core/web/KTRule.h"

#include "core/web/KTURLPattern.h"

namespace quilt {

std::optional<KTRule> KTRule::initWithDictionary(const KTJson& dictionary)
{
    auto base = KTPattern::initWithDictionary(dictionary);
    if (!base)
        return std::nullopt;
    KTRule rule(base->name, base->state);
    rule.script = json::stringFor(dictionary, "script").value_or(std::string());
    if (const KTJson* patterns = json::lookup(dictionary, "pattern"); patterns && patterns->is_object())
        for (const auto& [key, value] : patterns->items())
            if (auto pattern = KTPattern::initWithDictionary(value))
                rule.addPatternWithState(pattern->name, pattern->state);
    return rule;
}

KTJson KTRule::toDictionary() const
{
    KTJson d = KTPattern::toDictionary();
    d["script"] = script;
    KTJson patterns = KTJson::object();
    for (const auto& p : patterns_.items())
        patterns[p.name] = p.toDictionary();
    d["pattern"] = std::move(patterns);
    return d;
}

void KTRule::addPatternWithState(const std::string& pattern, int64_t state)
{
    patterns_.put(KTPattern(pattern, state));
}

void KTRule::renamePatternTo(const std::string& oldName, const std::string& newName)
{
    patterns_.rename(oldName, newName);
}

void KTRule::removePattern(const std::string& pattern) { patterns_.remove(pattern); }

KTPattern* KTRule::findPattern(std::string_view pattern) { return patterns_.find(pattern); }

const KTPattern* KTRule::findPattern(std::string_view pattern) const { return patterns_.find(pattern); }

const KTPattern* KTRule::findPatternThatContans(std::string_view url) const
{
    for (const auto& p : patterns_.items()) {
        // A pattern met literally matches even when it holds "*" itself.
        if (!p.name.empty() && url.find(p.name) != std::string_view::npos)
            return &p;
        if (KTURLPattern::matches(p.name, url))
            return &p;
    }
    return nullptr;
}

} // namespace quilt
