#pragma once

#include "core/services/KTDownloadOperation.h"

#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace quilt {

// Where a download goes: its full path and the name the list shows.
struct KTDownloadTarget {
    std::string path;
    std::string fileName;
    bool operator==(const KTDownloadTarget&) const = default;
};

// The downloads of this process: every operation ever added, in order, and
// at most three running at once; the others wait and start in the order
// they were added as running ones finish, fail or are cancelled. Runs on the
// main loop only; no threads.
class KTDownloadQueue {
public:
    static constexpr size_t kMaxConcurrentOperationCount = 3;

    explicit KTDownloadQueue(size_t maxConcurrentOperationCount = kMaxConcurrentOperationCount);
    ~KTDownloadQueue();
    KTDownloadQueue(const KTDownloadQueue&) = delete;
    KTDownloadQueue& operator=(const KTDownloadQueue&) = delete;

    // Lists the operation and starts it when a slot is free.
    void addDownloadOperation(std::shared_ptr<KTDownloadOperation> operation);

    // Never pruned: finished and cancelled downloads stay listed.
    const std::vector<std::shared_ptr<KTDownloadOperation>>& operationsArray() const { return operations_; }
    size_t runningCount() const { return running_; }
    size_t waitingCount() const { return waiting_.size(); }

    // A download without a save panel: "%@/%@" with the downloads folder and
    // the name. An empty name becomes "file"; a name from a hostile server
    // ("../../.profile", "a/b") is cut to its last component so the file
    // always lands in the folder itself.
    static KTDownloadTarget targetInFolder(std::string_view downloadsFolder, std::string_view fileName);
    // The same name rule alone (also for the name proposed in a save panel).
    static std::string safeFileName(std::string_view fileName);

private:
    friend class KTDownloadOperation;
    void operationEnded(KTDownloadOperation* operation, bool wasRunning);
    void startWaiting();

    size_t max_;
    std::vector<std::shared_ptr<KTDownloadOperation>> operations_;
    std::deque<KTDownloadOperation*> waiting_;
    size_t running_ = 0;
    bool starting_ = false;
};

} // namespace quilt
