#include "core/config/KTWebPageZoomManager.h"

#include "core/config/KTShared.h"

namespace quilt {

KTWebPageZoomManager& KTWebPageZoomManager::sharedManager() { return KTShared<KTWebPageZoomManager>::get(); }

std::unique_ptr<KTWebPageZoomManager> KTWebPageZoomManager::create() { return make<KTWebPageZoomManager>(); }

std::string KTWebPageZoomManager::getPath()
{
    if (path_.empty())
        path_ = dataFilePath("webpagezoom.json");
    return path_;
}

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
