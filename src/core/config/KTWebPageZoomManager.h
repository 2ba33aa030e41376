#pragma once

#include "core/config/KTManager.h"

#include <optional>

namespace quilt {

// "webpagezoom.json": the one zoom factor applied to every page of the app.
class KTWebPageZoomManager : public KTManager {
public:
    static KTWebPageZoomManager& sharedManager();
    static std::unique_ptr<KTWebPageZoomManager> create();

    std::string getPath() override;
    void loadValues() override;

    std::optional<double> zoomValue() const;
    void setZoomValue(double value);

private:
    KTWebPageZoomManager() = default;
    friend class KTManager;
    std::string path_;
};

} // namespace quilt
