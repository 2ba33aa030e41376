#include "core/config/KTError.h"

namespace quilt {

KTError KTError::kiteErrorWithCodeLocalizedDescription(long code, std::string description)
{
    return KTError{QUILT_ERROR_DOMAIN, code, std::move(description)};
}

} // namespace quilt
