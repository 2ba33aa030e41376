#pragma once

#include "core/config/GRef.h"

#include <webkit2/webkit2.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace quilt {

// The compiled content rule list "ContentBlockingRules": looked up in the
// app's filter store (in its cache folder), compiled from the bundle's
// "rules.json" when missing. Once ready it is kept, so later pages get it at
// once. A missing or broken rule file yields no filter, never an error.
class KTContentBlocker {
public:
    using Ready = std::function<void(WebKitUserContentFilter* filterOrNull)>;

    // Made on first use (KTShared); a reset drops answers still on the way.
    static KTContentBlocker& shared();
    static std::unique_ptr<KTContentBlocker> create();
    explicit KTContentBlocker(std::string storePath, std::string rulesPath);
    ~KTContentBlocker();
    KTContentBlocker(const KTContentBlocker&) = delete;
    KTContentBlocker& operator=(const KTContentBlocker&) = delete;

    // Calls back once with the filter (or null), on the main loop.
    void lookup(Ready ready);
    static constexpr const char* kIdentifier = "ContentBlockingRules";

private:
    void compile();
    void finish(WebKitUserContentFilter* filter);

    std::string rulesPath_;
    GRef<WebKitUserContentFilterStore> store_;
    GRef<GCancellable> cancellable_;
    WebKitUserContentFilter* filter_ = nullptr;
    bool resolved_ = false;
    bool busy_ = false;
    std::vector<Ready> waiting_;
};

} // namespace quilt
