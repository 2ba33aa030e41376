#include "core/services/KTDownloadQueue.h"

#include <algorithm>

namespace quilt {

KTDownloadQueue::KTDownloadQueue(size_t maxConcurrentOperationCount)
    : max_(std::max<size_t>(1, maxConcurrentOperationCount))
{
}

KTDownloadQueue::~KTDownloadQueue()
{
    // Operations the glue still holds must not report to a queue that is gone.
    for (auto& op : operations_)
        op->queue_ = nullptr;
}

void KTDownloadQueue::addDownloadOperation(std::shared_ptr<KTDownloadOperation> operation)
{
    if (!operation || operation->queue_ == this)
        return;
    operation->queue_ = this;
    operations_.push_back(operation);
    if (operation->state() != KTDownloadOperation::State::Queued)
        return; // cancelled before it was added: listed, never started
    waiting_.push_back(operation.get());
    startWaiting();
}

void KTDownloadQueue::operationEnded(KTDownloadOperation* operation, bool wasRunning)
{
    if (wasRunning) {
        --running_;
        startWaiting();
    } else {
        std::erase(waiting_, operation);
    }
}

void KTDownloadQueue::startWaiting()
{
    // A transfer may end (fail) inside its own start; the loop then simply
    // goes on with the next waiting operation instead of recursing.
    if (starting_)
        return;
    starting_ = true;
    while (running_ < max_ && !waiting_.empty()) {
        KTDownloadOperation* next = waiting_.front();
        waiting_.pop_front();
        ++running_;
        next->begin();
    }
    starting_ = false;
}

std::string KTDownloadQueue::safeFileName(std::string_view fileName)
{
    size_t slash = fileName.rfind('/');
    std::string name(slash == std::string_view::npos ? fileName : fileName.substr(slash + 1));
    std::replace(name.begin(), name.end(), '\0', '_');
    if (name.empty() || name == "." || name == "..")
        return "file";
    return name;
}

KTDownloadTarget KTDownloadQueue::targetInFolder(std::string_view downloadsFolder, std::string_view fileName)
{
    std::string name = safeFileName(fileName);
    return {std::string(downloadsFolder) + "/" + name, name};
}

} // namespace quilt
