#include "core/config/KTShellDelegate.h"

namespace quilt {

namespace {
KTShellDelegate neutral;
KTShellDelegate* current = &neutral;
} // namespace

KTShellDelegate& KTShellDelegate::shared() { return *current; }

void KTShellDelegate::setShared(KTShellDelegate* delegate) { current = delegate ? delegate : &neutral; }

} // namespace quilt
