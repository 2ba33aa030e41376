#pragma once

#include <functional>
#include <string>
#include <vector>

namespace quilt {

// Makes a multi-step change all-or-nothing: each step registers how to take
// itself back, and unless commit() is called, the destructor takes the steps
// back newest first. Clean-up steps run afterwards either way.
class KTRollback {
public:
    KTRollback() = default;
    ~KTRollback();
    KTRollback(const KTRollback&) = delete;
    KTRollback& operator=(const KTRollback&) = delete;

    void add(std::function<void()> undo);
    // Puts the file's present bytes back (or removes it if it is absent now).
    void saveFile(const std::string& path);
    // Runs at the end whether or not the work was committed.
    void finally(std::function<void()> cleanup);
    void commit() { committed_ = true; }

private:
    std::vector<std::function<void()>> undo_;
    std::vector<std::function<void()>> cleanup_;
    bool committed_ = false;
};

} // namespace quilt
