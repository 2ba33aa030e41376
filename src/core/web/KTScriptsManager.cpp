#include "core/web/KTScriptsManager.h"

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTLog.h"
#include "core/config/KTShared.h"

#include <algorithm>
#include <unistd.h>

namespace quilt {

KTScriptsManager& KTScriptsManager::sharedManager() { return KTShared<KTScriptsManager>::get(); }

std::unique_ptr<KTScriptsManager> KTScriptsManager::create()
{
    return std::make_unique<KTScriptsManager>(defaultPath());
}

std::string KTScriptsManager::defaultPath()
{
    return KTBundle::main().path() + "/Contents/Resources/Scripts/userscripts.json";
}

KTScriptsManager::KTScriptsManager(std::string jsonPath)
    : jsonPath_(std::move(jsonPath))
{
    loadJson();
}

void KTScriptsManager::loadJson()
{
    auto data = KTFileUtil::read(jsonPath_);
    if (!data || data->empty())
        return;
    std::string error;
    auto parsed = json::parse(*data, &error);
    if (!parsed) {
        KTLog::line(error);
        return;
    }
    if (!parsed->is_array()) {
        KTLog::line(jsonPath_ + ": not a list of rules");
        return;
    }
    KTNamedList<KTRule> loaded;
    for (const auto& element : *parsed)
        if (auto rule = KTRule::initWithDictionary(element))
            loaded.put(std::move(*rule));
    rules_ = std::move(loaded);
}

bool KTScriptsManager::saveJson()
{
    KTJson array = KTJson::array();
    for (const auto& rule : rules_.items())
        array.push_back(rule.toDictionary());
    std::string error;
    if (!KTFileUtil::makeDirectories(KTFileUtil::parentFolder(jsonPath_), &error)) {
        KTLog::line(error);
        return false;
    }
    // A file the user made read-only (a bundle installed for everyone) is
    // left alone, though its folder would let a rename replace it.
    if (KTFileUtil::exists(jsonPath_) && ::access(jsonPath_.c_str(), W_OK) != 0) {
        KTLog::line(jsonPath_ + ": read-only, not saved");
        return false;
    }
    if (!KTFileUtil::writeAtomically(jsonPath_, json::compact(array), &error)) {
        KTLog::line(error);
        return false;
    }
    return true;
}

KTRule* KTScriptsManager::findRule(std::string_view name) { return rules_.find(name); }

const KTRule* KTScriptsManager::findRule(std::string_view name) const { return rules_.find(name); }

// A rule added again under its name starts afresh: no patterns, no script.
void KTScriptsManager::addRuleState(const std::string& name, int64_t state) { rules_.put(KTRule(name, state)); }

void KTScriptsManager::renameRuleToName(const std::string& oldName, const std::string& newName)
{
    rules_.rename(oldName, newName);
}

void KTScriptsManager::removeRule(const std::string& name) { rules_.remove(name); }

void KTScriptsManager::addPatternForRuleState(const std::string& pattern, const std::string& rule, int64_t state)
{
    if (KTRule* r = findRule(rule))
        r->addPatternWithState(pattern, state);
}

void KTScriptsManager::renamePatternToNameForRule(const std::string& oldName, const std::string& newName,
                                                  const std::string& rule)
{
    if (KTRule* r = findRule(rule))
        r->renamePatternTo(oldName, newName);
}

void KTScriptsManager::removePatternFromRule(const std::string& pattern, const std::string& rule)
{
    if (KTRule* r = findRule(rule))
        r->removePattern(pattern);
}

void KTScriptsManager::addScriptForRule(const std::string& text, const std::string& rule)
{
    if (KTRule* r = findRule(rule))
        r->script = text;
}

std::optional<std::string> KTScriptsManager::scriptForRule(const std::string& rule) const
{
    if (const KTRule* r = findRule(rule))
        return r->script;
    return std::nullopt;
}

int64_t KTScriptsManager::getRuleState(const std::string& rule) const
{
    const KTRule* r = findRule(rule);
    return r ? r->state : 0;
}

int64_t KTScriptsManager::getPatternStateForRulule(const std::string& pattern, const std::string& rule) const
{
    const KTRule* r = findRule(rule);
    const KTPattern* p = r ? r->findPattern(pattern) : nullptr;
    return p ? p->state : 0;
}

void KTScriptsManager::setStateForRule(int64_t state, const std::string& rule)
{
    if (KTRule* r = findRule(rule))
        r->state = state;
}

void KTScriptsManager::setStateForRuleForPattern(int64_t state, const std::string& rule, const std::string& pattern)
{
    addPatternForRuleState(pattern, rule, state);
}

namespace {
std::vector<std::string> sortedNumerically(std::vector<std::string> names)
{
    std::stable_sort(names.begin(), names.end(), [](const std::string& a, const std::string& b) {
        return KTScriptsManager::numericCompare(a, b) < 0;
    });
    return names;
}
} // namespace

std::optional<std::vector<std::string>> KTScriptsManager::patternsNamesForRule(const std::string& rule) const
{
    const KTRule* r = findRule(rule);
    if (!r)
        return std::nullopt;
    return sortedNumerically(r->patternNames());
}

std::vector<std::string> KTScriptsManager::rulesArray() const
{
    return sortedNumerically(rules_.names());
}

std::optional<std::string> KTScriptsManager::findScriptFor(std::string_view url) const
{
    for (const auto& rule : rules_.items()) {
        if (rule.state == 0)
            continue;
        if (rule.findPatternThatContans(url))
            return rule.script;
    }
    return std::nullopt;
}

int KTScriptsManager::numericCompare(std::string_view a, std::string_view b)
{
    auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    size_t i = 0, j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a[i]) && isDigit(b[j])) {
            size_t ie = i, je = j;
            while (ie < a.size() && isDigit(a[ie]))
                ++ie;
            while (je < b.size() && isDigit(b[je]))
                ++je;
            std::string_view x = a.substr(i, ie - i), y = b.substr(j, je - j);
            x.remove_prefix(std::min(x.find_first_not_of('0'), x.size()));
            y.remove_prefix(std::min(y.find_first_not_of('0'), y.size()));
            if (x.size() != y.size())
                return x.size() < y.size() ? -1 : 1;
            if (int c = x.compare(y))
                return c < 0 ? -1 : 1;
            i = ie;
            j = je;
            continue;
        }
        unsigned char ca = static_cast<unsigned char>(a[i]), cb = static_cast<unsigned char>(b[j]);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        ++i;
        ++j;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    int c = a.compare(b);
    return c < 0 ? -1 : (c > 0 ? 1 : 0);
}

} // namespace quilt
