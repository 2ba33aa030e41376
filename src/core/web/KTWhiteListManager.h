#pragma once

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

    std::vector<std::string> patterns() const { return patterns_; }
    void addPattern(const std::string& pattern);
    void removePattern(const std::string& pattern);
    void removeAllPatterns()
    {
        patterns_.clear();
        known_.clear();
    }

    bool allowAll() const { return allowAll_; }
    void setAllowAll(bool v) { allowAll_ = v; }
    bool allowPatterns() const { return allowPatterns_; }
    void setAllowPatterns(bool v) { allowPatterns_ = v; }
    bool allowSubdomains() const { return allowSubdomains_; }
    void setAllowSubdomains(bool v) { allowSubdomains_ = v; }

    bool isUrlAllow(std::string_view url) const;
    // The last two labels of a fragment's host ("a.b" of "https://w.a.b/x"),
    // or nullopt when there are fewer than three labels.
    static std::optional<std::string> mainDomain(std::string_view fragment);

private:
    std::string path_;
    std::vector<std::string> patterns_;
    // The same patterns, hashed: a list of a million loads in linear time.
    std::unordered_set<std::string> known_;
    bool allowAll_ = true;
    bool allowPatterns_ = false;
    bool allowSubdomains_ = false;
};

} // namespace quilt
