#include "core/windows/KTWindowRestorer.h"

namespace quilt {

std::optional<KTWindowRestorer::Placement> KTWindowRestorer::placementForKey(const Inputs& in)
{
    if (in.enterpriseBuild)
        return std::nullopt;
    const bool noKey = !in.key || in.key->empty();
    if (in.mobileVersion && noKey)
        return Placement{KTRect{in.screen.x, in.screen.y, kPhoneWidth, kPhoneHeight}, false};

    Placement fallback{in.screen, false};
    if (in.creationToolBuild)
        fallback = Placement{KTRect{in.screen.x, in.screen.y, in.creationToolSize.width, in.creationToolSize.height},
                             true};
    // A present but empty key counts like all-desktops: the default frame.
    if (in.windowAllSpace || (in.key && in.key->empty()))
        return fallback;
    if (!in.frame)
        return fallback;
    KTRect stored = KTRect::fromString(*in.frame);
    if (stored == KTRect{})
        return fallback;
    return Placement{stored, false};
}

} // namespace quilt
