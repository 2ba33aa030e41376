#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace quilt {

class KTDownloadQueue;

// One download in the downloads list. The bookkeeping (state, progress, how
// its row looks) lives here; the transfer itself is the glue's: a subclass
// starts and cancels a WebKit download and reports back through
// didReceiveData / didFinish / didFail on the main loop.
class KTDownloadOperation {
public:
    enum class State { Queued, Running, Completed, Canceled, Failed };

    // How the operation's row in the downloads list looks.
    struct RowState {
        bool progressShown = false;
        bool statusShown = false;
        std::string statusText; // "Canceled" or "Downloaded" when shown
        bool cancelShown = false;
        bool showInFolderShown = false;
        bool byteCountShown = false;
        std::string byteCountText;
        double progress = 0;

        bool operator==(const RowState&) const = default;
    };

    KTDownloadOperation(std::string path, std::string url, std::string fileName);
    virtual ~KTDownloadOperation();
    KTDownloadOperation(const KTDownloadOperation&) = delete;
    KTDownloadOperation& operator=(const KTDownloadOperation&) = delete;

    const std::string& path() const { return path_; }
    const std::string& url() const { return url_; }
    const std::string& fileName() const { return fileName_; }
    // The row's text: the file name, or the URL when there is none.
    const std::string& displayName() const { return fileName_.empty() ? url_ : fileName_; }

    State state() const { return state_; }
    bool isCanceled() const { return state_ == State::Canceled; }
    // Bytes received so far.
    uint64_t downloaded() const { return received_; }
    // Percent: 0 before any data, received x 100 / expected while running,
    // -1 while the length is unknown, 100 once complete.
    double getProgress() const;
    RowState rowState() const;
    // Selecting a finished row opens the file; any other row does nothing.
    bool opensFileWhenSelected() const { return getProgress() == 100.0; }

    // Stops the download for good: a queued one never starts, a running one
    // has its transfer cancelled and frees its slot at once. Nothing is
    // written.
    void cancelDownload();

    // Receives percent reports while the download runs and is not cancelled
    // (the list cell).
    void setProgressHandler(std::function<void(double percent)> handler) { progressHandler_ = std::move(handler); }

    // The glue's reports. Reports after the download ended are ignored (a
    // cancelled WebKit download still reports its failure).
    void didReceiveData(uint64_t receivedTotal, std::optional<uint64_t> expectedLength);
    // The whole file is now at path().
    void didFinish();
    // Logged only; the row keeps its running look, as no other state applies.
    void didFail(std::string_view error);

protected:
    virtual void startTransfer() = 0;
    virtual void cancelTransfer() = 0;

private:
    friend class KTDownloadQueue;
    void begin();
    void end(State state);

    std::string path_, url_, fileName_;
    State state_ = State::Queued;
    uint64_t received_ = 0;
    std::optional<uint64_t> expected_;
    std::function<void(double)> progressHandler_;
    KTDownloadQueue* queue_ = nullptr;
};

} // namespace quilt
