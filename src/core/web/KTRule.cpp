#include "core/web/KTRule.h"

#include "core/web/KTURLPattern.h"

#include <algorithm>

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
    for (const auto& p : patterns_)
        patterns[p.name] = p.toDictionary();
    d["pattern"] = std::move(patterns);
    return d;
}

void KTRule::addPatternWithState(const std::string& pattern, int64_t state)
{
    if (KTPattern* existing = findPattern(pattern))
        existing->state = state;
    else
        patterns_.emplace_back(pattern, state);
}

void KTRule::renamePatternTo(const std::string& oldName, const std::string& newName)
{
    if (oldName == newName || !findPattern(oldName))
        return;
    removePattern(newName);
    findPattern(oldName)->name = newName;
}

void KTRule::removePattern(const std::string& pattern)
{
    std::erase_if(patterns_, [&](const KTPattern& p) { return p.name == pattern; });
}

KTPattern* KTRule::findPattern(std::string_view pattern)
{
    auto it = std::find_if(patterns_.begin(), patterns_.end(), [&](const KTPattern& p) { return p.name == pattern; });
    return it == patterns_.end() ? nullptr : &*it;
}

const KTPattern* KTRule::findPattern(std::string_view pattern) const
{
    return const_cast<KTRule*>(this)->findPattern(pattern);
}

const KTPattern* KTRule::findPatternThatContans(std::string_view url) const
{
    for (const auto& p : patterns_) {
        // A pattern met literally matches even when it holds "*" itself.
        if (!p.name.empty() && url.find(p.name) != std::string_view::npos)
            return &p;
        if (KTURLPattern::matches(p.name, url))
            return &p;
    }
    return nullptr;
}

} // namespace quilt
