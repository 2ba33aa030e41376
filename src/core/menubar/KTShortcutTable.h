#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

class KTShortcutManager;

// The address shortcuts as the preferences table shows them: rows of word
// and URL, edited freely and written to the store all at once when the pane
// closes. The store is a map, so only commit() decides what survives: rows
// with an empty word are dropped and, of two rows with one word, the lower
// one wins.
class KTShortcutTable {
public:
    struct Row {
        std::string word, url;
        bool operator==(const Row&) const = default;
    };

    // The store's words and URLs, in the store's order.
    explicit KTShortcutTable(const KTShortcutManager& store);

    const std::vector<Row>& rows() const { return rows_; }
    size_t size() const { return rows_.size(); }

    // Appends an empty row; its index, where the person types the word.
    size_t add();
    // Removes the selected row; the row to select next (the one now at the
    // same place, else the last), nothing when none is selected or left.
    std::optional<size_t> remove(std::optional<size_t> selected);
    void setWord(size_t row, std::string word);
    void setUrl(size_t row, std::string url);

    // Rebuilds the store from the rows and saves it; false when the file
    // could not be written.
    bool commit(KTShortcutManager& store) const;

private:
    std::vector<Row> rows_;
};

} // namespace quilt
