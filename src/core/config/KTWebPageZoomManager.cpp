#include "core/config/KTWebPageZoomManager.h"

namespace quilt {

void KTWebPageZoomManager::loadValues()
{
    // A missing or empty file is recreated at once holding 100 %.
    if (!json().is_object() || !json().empty())
        return;
    setZoomValue(1.0);
    save();
}

std::optional<double> KTWebPageZoomManager::zoomValue() const
{
    const KTJson* v = json::lookup(json(), "currentzoomvalue");
    if (!v || !v->is_number())
        return std::nullopt;
    return v->get<double>();
}

void KTWebPageZoomManager::setZoomValue(double value)
{
    if (json().is_object())
        json()["currentzoomvalue"] = value;
}

} // namespace quilt
