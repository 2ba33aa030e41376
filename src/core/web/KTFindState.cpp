#include "core/web/KTFindState.h"

namespace quilt {

void KTFindState::cleared()
{
    index_ = count_ = 0;
    label_.clear();
}

long KTFindState::found(long n)
{
    if (n <= 0) {
        index_ = count_ = 0;
        label_ = "Not Found";
        return -1;
    }
    count_ = n;
    index_ = 1;
    // "%ld match" whatever the count: the label reads as it always has.
    label_ = std::to_string(n) + " match";
    return index_;
}

long KTFindState::next()
{
    if (count_ <= 0)
        return -1;
    index_ = index_ < 1 ? count_ - 1 : index_ - 1;
    return index_;
}

long KTFindState::previous()
{
    if (count_ <= 0)
        return -1;
    index_ = index_ < count_ - 1 ? index_ + 1 : 0;
    return index_;
}

} // namespace quilt
