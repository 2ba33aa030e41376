#pragma once

#include "core/web/KTAllowListRules.h"

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace quilt {

// The allow-list, "whitelist.json" in the data folder: which main-frame
// addresses the app shows itself; every other one goes to the browser.
// No file at all means allow everything; a file that parses but lacks
// "allowAll" means consult the patterns.
class KTWhiteListManager {
public:
    static KTWhiteListManager& sharedManager();
    static std::unique_ptr<KTWhiteListManager> create();
    // A store on an explicit file (the creation tool writes new apps' lists).
    explicit KTWhiteListManager(std::string path);

    void loadPatterns();
    bool savePatterns();
    const std::string& getPath() const { return path_; }

    std::vector<std::string> patterns() const { return rules_.patterns; }
    void addPattern(const std::string& pattern);
    void removePattern(const std::string& pattern);
    void removeAllPatterns()
    {
        rules_.patterns.clear();
        known_.clear();
    }

    bool allowAll() const { return rules_.allowAll; }
    void setAllowAll(bool v) { rules_.allowAll = v; }
    bool allowPatterns() const { return rules_.allowPatterns; }
    void setAllowPatterns(bool v) { rules_.allowPatterns = v; }
    bool allowSubdomains() const { return rules_.allowSubdomains; }
    void setAllowSubdomains(bool v) { rules_.allowSubdomains = v; }

    bool isUrlAllow(std::string_view url) const { return rules_.isUrlAllow(url); }
    static std::optional<std::string> mainDomain(std::string_view fragment)
    {
        return KTAllowListRules::mainDomain(fragment);
    }
    // The list as it is now, saved or not.
    const KTAllowListRules& rules() const { return rules_; }

private:
    std::string path_;
    KTAllowListRules rules_;
    // The same patterns, hashed: a list of a million loads in linear time.
    std::unordered_set<std::string> known_;
};

} // namespace quilt
