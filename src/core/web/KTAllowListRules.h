#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

typedef struct _GVariant GVariant;

namespace quilt {

// The allow-list's verdict as plain values: what the store holds, and what a
// web process is given so that it can refuse an address before asking for it.
struct KTAllowListRules {
    // The message that brings a web process a changed list.
    static constexpr const char* kMessageName = "quilt.allow-list";

    bool allowAll = true;
    bool allowPatterns = false;
    bool allowSubdomains = false;
    std::vector<std::string> patterns;

    bool isUrlAllow(std::string_view url) const;
    // The last two labels of a fragment's host ("a.b" of "https://w.a.b/x"),
    // or nullopt when there are fewer than three labels.
    static std::optional<std::string> mainDomain(std::string_view fragment);

    // The form that crosses to the web process: "(bbbas)", floating.
    GVariant* toVariant() const;
    // Anything but that form gives nullopt.
    static std::optional<KTAllowListRules> fromVariant(GVariant* value);

    bool operator==(const KTAllowListRules&) const = default;
};

} // namespace quilt
