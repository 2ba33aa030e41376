#pragma once

#include <string>

namespace quilt {

// The find bar's state over the page script's numbered highlights. Next
// moves to lower numbers and previous to higher ones, the order in which
// the script numbers its highlights; both wrap.
class KTFindState {
public:
    // The text was emptied: no label, no arrows.
    void cleared();
    // The page counted `n` matches for a new text; returns the number of
    // the highlight to scroll to, or -1 for none.
    long found(long n);
    // The highlight to scroll to next, or -1 when there is nothing to move through.
    long next();
    long previous();

    long index() const { return index_; }
    long count() const { return count_; }
    const std::string& label() const { return label_; }
    bool arrowsEnabled() const { return count_ > 0; }

private:
    long index_ = 0;
    long count_ = 0;
    std::string label_;
};

} // namespace quilt
