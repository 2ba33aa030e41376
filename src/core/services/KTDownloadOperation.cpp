#include "core/services/KTDownloadOperation.h"

#include "core/services/KTDownloadQueue.h"

#include "core/config/KTLog.h"

#include <glib.h>

namespace quilt {

KTDownloadOperation::KTDownloadOperation(std::string path, std::string url, std::string fileName)
    : path_(std::move(path))
    , url_(std::move(url))
    , fileName_(std::move(fileName))
{
}

KTDownloadOperation::~KTDownloadOperation() = default;

double KTDownloadOperation::getProgress() const
{
    if (state_ == State::Completed)
        return 100.0;
    if (state_ == State::Queued || received_ == 0)
        return 0.0;
    if (!expected_ || *expected_ == 0)
        return -1.0;
    return static_cast<double>(received_) * 100.0 / static_cast<double>(*expected_);
}

KTDownloadOperation::RowState KTDownloadOperation::rowState() const
{
    RowState row;
    row.progress = getProgress();
    char* bytes = g_format_size(received_);
    row.byteCountText = bytes;
    g_free(bytes);
    if (isCanceled()) {
        row.statusShown = true;
        row.statusText = "Canceled";
    } else if (row.progress == 100.0) {
        row.statusShown = true;
        row.statusText = "Downloaded";
        row.showInFolderShown = true;
        row.byteCountShown = true;
    } else {
        row.progressShown = true;
        row.cancelShown = true;
        row.byteCountShown = true;
    }
    return row;
}

void KTDownloadOperation::begin()
{
    state_ = State::Running;
    startTransfer();
}

void KTDownloadOperation::end(State state)
{
    const bool wasRunning = state_ == State::Running;
    state_ = state;
    if (queue_)
        queue_->operationEnded(this, wasRunning);
}

void KTDownloadOperation::cancelDownload()
{
    if (state_ != State::Queued && state_ != State::Running)
        return;
    const bool wasRunning = state_ == State::Running;
    // The state changes first: the transfer's own failure report, which a
    // cancel may send at once, must find the download already ended.
    state_ = State::Canceled;
    if (wasRunning)
        cancelTransfer();
    if (queue_)
        queue_->operationEnded(this, wasRunning);
}

void KTDownloadOperation::didReceiveData(uint64_t receivedTotal, std::optional<uint64_t> expectedLength)
{
    if (state_ != State::Running)
        return;
    received_ = receivedTotal;
    expected_ = expectedLength;
    if (progressHandler_)
        progressHandler_(getProgress());
}

void KTDownloadOperation::didFinish()
{
    if (state_ != State::Running)
        return;
    if (expected_ && received_ < *expected_)
        received_ = *expected_;
    end(State::Completed);
    if (progressHandler_)
        progressHandler_(getProgress());
}

void KTDownloadOperation::didFail(std::string_view error)
{
    if (state_ != State::Running)
        return;
    KTLog::line(error);
    end(State::Failed);
}

} // namespace quilt
