#include "core/windows/KTTabModel.h"

#include <algorithm>

namespace quilt {

KTTabModel::Id KTTabModel::add(std::optional<size_t> at)
{
    Id id = next_++;
    if (at && *at < order_.size())
        order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(*at), id);
    else
        order_.push_back(id);
    return id;
}

void KTTabModel::select(Id id)
{
    if (!contains(id))
        return;
    selected_ = id;
    mru_.erase(std::remove(mru_.begin(), mru_.end(), id), mru_.end());
    mru_.push_back(id);
}

void KTTabModel::move(Id id, size_t index)
{
    auto from = indexOf(id);
    if (!from)
        return;
    order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(*from));
    index = std::min(index, order_.size());
    order_.insert(order_.begin() + static_cast<std::ptrdiff_t>(index), id);
}

void KTTabModel::close(Id id, bool returnToPrior)
{
    auto index = indexOf(id);
    if (!index)
        return;
    std::optional<Id> next = returnToPrior ? priorTo(id) : std::nullopt;
    order_.erase(order_.begin() + static_cast<std::ptrdiff_t>(*index));
    if (selected_ == id) {
        selected_.reset();
        if (!next && !order_.empty())
            next = order_[std::min(*index, order_.size() - 1)];
    }
    if (next)
        select(*next);
}

std::optional<KTTabModel::Id> KTTabModel::priorTo(Id id)
{
    mru_.erase(std::remove(mru_.begin(), mru_.end(), id), mru_.end());
    for (auto it = mru_.rbegin(); it != mru_.rend(); ++it)
        if (contains(*it))
            return *it;
    return std::nullopt;
}

std::optional<size_t> KTTabModel::indexOf(Id id) const
{
    auto it = std::find(order_.begin(), order_.end(), id);
    if (it == order_.end())
        return std::nullopt;
    return static_cast<size_t>(it - order_.begin());
}

std::string KTTabModel::stateString() const
{
    std::string out;
    for (Id id : order_) {
        if (!out.empty())
            out += ' ';
        out += std::to_string(id);
        if (selected_ == id)
            out += '*';
    }
    return out;
}

} // namespace quilt
