#pragma once

#include "core/config/KTStore.h"

#include <optional>

namespace quilt {

// "webpagezoom.json": the one zoom factor applied to every page of the app.
class KTWebPageZoomManager : public KTStore<KTWebPageZoomManager> {
public:
    explicit KTWebPageZoomManager(Key)
        : KTStore("webpagezoom.json")
    {
    }

    void loadValues() override;

    std::optional<double> zoomValue() const;
    void setZoomValue(double value);
};

} // namespace quilt
