#include "core/menubar/KTShortcutTable.h"

#include "core/menubar/KTShortcutManager.h"

#include <algorithm>

namespace quilt {

KTShortcutTable::KTShortcutTable(const KTShortcutManager& store)
{
    const auto words = store.shortcuts();
    const auto urls = store.urls();
    for (size_t i = 0; i < words.size(); ++i)
        rows_.push_back({words[i], i < urls.size() ? urls[i] : std::string()});
}

size_t KTShortcutTable::add()
{
    rows_.push_back({});
    return rows_.size() - 1;
}

std::optional<size_t> KTShortcutTable::remove(std::optional<size_t> selected)
{
    if (!selected || *selected >= rows_.size())
        return std::nullopt;
    rows_.erase(rows_.begin() + static_cast<std::ptrdiff_t>(*selected));
    if (rows_.empty())
        return std::nullopt;
    return std::min(*selected, rows_.size() - 1);
}

void KTShortcutTable::setWord(size_t row, std::string word)
{
    if (row < rows_.size())
        rows_[row].word = std::move(word);
}

void KTShortcutTable::setUrl(size_t row, std::string url)
{
    if (row < rows_.size())
        rows_[row].url = std::move(url);
}

bool KTShortcutTable::commit(KTShortcutManager& store) const
{
    store.clearShortcuts();
    // The store ignores empty words and replaces a repeated one, so a later
    // (lower) row wins.
    for (const auto& row : rows_)
        store.setShortCutForUrl(row.word, row.url);
    return store.saveJson();
}

} // namespace quilt
