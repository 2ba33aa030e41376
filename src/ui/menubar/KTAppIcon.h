#pragma once

#include "core/config/GRef.h"
#include "core/config/KTNotificationCenter.h"

#include <gdk-pixbuf/gdk-pixbuf.h>

#include <memory>
#include <string>

namespace quilt {

// The icon every window of the app shows (_NET_WM_ICON), which is what
// taskbars without a dock's badge see: the app's own icon, or the dock
// monitor's picture while it runs, with the unread badge (KTDockBadge)
// drawn on top. Sizes are those of a 128-pixel icon and scale with it.
class KTAppIcon {
public:
    static constexpr int kSize = 128;

    static KTAppIcon& shared();
    static std::unique_ptr<KTAppIcon> create();
    KTAppIcon(const KTAppIcon&) = delete;
    KTAppIcon& operator=(const KTAppIcon&) = delete;

    // The app's own icon.
    void setBaseIcon(GdkPixbuf* icon);
    // A picture in place of the app's icon (the dock monitor); nullptr
    // brings the app's icon back.
    void setPicture(GdkPixbuf* picture);
    // The icon windows show now.
    GdkPixbuf* current() const { return current_.get(); }

    // A copy of `icon` with the badge drawn in its top right corner: a red
    // pill 48 high and the text's width plus 12 wide (at least 48), the
    // text white in bold 24. Empty text or "0": a plain copy. New reference.
    static GdkPixbuf* drawBadge(GdkPixbuf* icon, const std::string& text);
    // The badge's width for a text, on a 128-pixel icon.
    static int badgeWidth(const std::string& text);
    // A copy clipped to a rectangle with corners of this radius. New reference.
    static GdkPixbuf* roundCornersWithRadius(GdkPixbuf* image, double radius);

private:
    KTAppIcon();
    void update();

    GRef<GdkPixbuf> base_;
    GRef<GdkPixbuf> picture_;
    GRef<GdkPixbuf> current_;
    std::string badge_;
    KTObservation observation_;
};

} // namespace quilt
