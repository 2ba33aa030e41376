// Downloads through WebKit: at most three at once, cancelling leaves
// nothing behind, a large file streams to disk without passing through
// this process's memory, and the downloads list shows and opens them.

#include "support/GuiTest.h"

#include "ui/windows/KTDownloadsView.h"
#include "ui/windows/KTMainWindowController.h"
#include "web/KTWebKitDownload.h"
#include "web/KTWebManager.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>
#include <libsoup/soup.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace quilt::test {
namespace {

class DownloadsTest : public PolicyTest {
protected:
    void SetUp() override
    {
        PolicyTest::SetUp();
        if (IsSkipped())
            return;
        openWindow();
        server->route("files.example.com/", HttpPage::html("t", "<p>files</p>"));
        ASSERT_TRUE(loadAndWait(page, "http://files.example.com/"));
    }

    KTDownloadQueue& queue() { return KTWebManager::sharedManager().downloadQueue(); }

    std::shared_ptr<KTDownloadOperation> download(const std::string& name, const std::string& url)
    {
        return KTWebManager::sharedManager().downloadFileWithRequest(name, url, page->webview());
    }

    // Answers are held back until released, so downloads stay running.
    void holdBackAnswers(const std::string& hostAndPath, const std::string& body)
    {
        server->handle(hostAndPath, [this, body](SoupServerMessage* msg, const HttpRequest&) {
            soup_server_message_set_status(msg, 200, nullptr);
            soup_server_message_set_response(msg, "application/octet-stream", SOUP_MEMORY_COPY, body.data(),
                                             body.size());
            soup_server_message_pause(msg);
            held_.push_back(msg);
            return true;
        });
    }
    void releaseOne()
    {
        ASSERT_FALSE(held_.empty());
        soup_server_message_unpause(held_.front());
        held_.erase(held_.begin());
    }

    KTDownloadsView::Cell* cellFor(const std::shared_ptr<KTDownloadOperation>& op)
    {
        KTDownloadsView* view = window->downloadsView();
        for (size_t i = 0; i < view->rowCount(); ++i)
            if (view->cellAt(i)->operation() == op)
                return view->cellAt(i);
        return nullptr;
    }

    static bool shown(GtkWidget* w) { return gtk_widget_get_visible(w); }
    static std::string text(GtkWidget* label) { return gtk_label_get_text(GTK_LABEL(label)); }
    // The row's visible parts in one line, labels with their text.
    static std::string cellState(KTDownloadsView::Cell* c)
    {
        std::string out;
        auto part = [&](const char* name, GtkWidget* w, bool isLabel = false) {
            if (shown(w))
                out += std::string(out.empty() ? "" : " ") + name + (isLabel ? "=" + text(w) : "");
        };
        part("status", c->statusLabel(), true);
        part("bytes", c->bytesLabel(), true);
        part("progress", c->progressBar());
        part("cancel", c->cancelButton());
        part("folder", c->showInFolderButton());
        return out;
    }

    std::vector<SoupServerMessage*> held_;
};

TEST_F(DownloadsTest, FourAtOnceThreeRunTheFourthWaits)
{
    holdBackAnswers("files.example.com/slow", std::string(1000, 's'));
    std::vector<std::shared_ptr<KTDownloadOperation>> ops;
    for (int i = 1; i <= 4; ++i)
        ops.push_back(download("slow" + std::to_string(i) + ".bin", "http://files.example.com/slow"));

    ASSERT_TRUE(waitUntil([&] { return held_.size() == 3; }));
    EXPECT_EQ(queue().runningCount(), 3u);
    EXPECT_EQ(queue().waitingCount(), 1u);
    EXPECT_EQ(ops[3]->state(), KTDownloadOperation::State::Queued);
    EXPECT_EQ(server->hits("files.example.com/slow"), 3u) << "the fourth was not asked for";

    // One ends: the fourth takes its place.
    releaseOne();
    auto completed = [&] {
        return std::count_if(ops.begin(), ops.end(), [](auto& op) { return op->state() == KTDownloadOperation::State::Completed; });
    };
    ASSERT_TRUE(waitUntil([&] { return completed() == 1; }));
    ASSERT_TRUE(waitUntil([&] { return held_.size() == 3; }));
    EXPECT_EQ(ops[3]->state(), KTDownloadOperation::State::Running);
    while (!held_.empty())
        releaseOne();
    ASSERT_TRUE(waitUntil([&] { return completed() == 4; }));
    for (auto& op : ops) {
        EXPECT_EQ(readFile(op->path()), std::string(1000, 's')) << op->path();
        EXPECT_FALSE(exists(op->path() + ".part"));
    }
    EXPECT_EQ(queue().runningCount(), 0u);
}

TEST_F(DownloadsTest, CancellingLeavesNoFileAndNoPart)
{
    // Half the body, then the server waits: the download is under way.
    const std::string half(64 * 1024, 'h');
    server->handle("files.example.com/big", [&half](SoupServerMessage* msg, const HttpRequest&) {
        soup_server_message_set_status(msg, 200, nullptr);
        SoupMessageHeaders* out = soup_server_message_get_response_headers(msg);
        soup_message_headers_set_content_type(out, "application/octet-stream", nullptr);
        soup_message_headers_set_content_length(out, half.size() * 2);
        soup_message_body_append(soup_server_message_get_response_body(msg), SOUP_MEMORY_COPY, half.data(),
                                 half.size());
        return true;
    });
    auto op = download("big.bin", "http://files.example.com/big");
    ASSERT_TRUE(waitUntil([&] { return op->downloaded() > 0; }));
    ASSERT_TRUE(exists(op->path() + ".part"));
    EXPECT_FALSE(exists(op->path())) << "the file appears only when complete";

    KTDownloadsView::Cell* cell = cellFor(op);
    ASSERT_NE(cell, nullptr);
    EXPECT_TRUE(shown(cell->cancelButton()) && shown(cell->progressBar()) && !shown(cell->showInFolderButton()));
    gtk_button_clicked(GTK_BUTTON(cell->cancelButton()));

    EXPECT_TRUE(op->isCanceled());
    EXPECT_EQ(cellState(cell), "status=Canceled");
    EXPECT_EQ(queue().runningCount(), 0u);
    // WebKit lets go of its part asynchronously.
    EXPECT_TRUE(waitUntil([&] { return !exists(op->path() + ".part") && !exists(op->path() + ".part.wkdownload"); }));
    EXPECT_FALSE(exists(op->path()));
}

TEST_F(DownloadsTest, ListShowsFinishedDownloadsAndOpensThem)
{
    server->route("files.example.com/notes.txt", HttpPage::bytes("some notes\n", "text/plain"));
    auto op = download("notes.txt", "http://files.example.com/notes.txt");
    ASSERT_TRUE(waitUntil([&] { return op->state() == KTDownloadOperation::State::Completed; }));

    KTDownloadsView* view = window->downloadsView();
    EXPECT_TRUE(shown(view->button())) << "the list's button appears with the first download";
    KTDownloadsView::Cell* cell = cellFor(op);
    ASSERT_NE(cell, nullptr);
    EXPECT_EQ(text(cell->nameLabel()), "notes.txt");
    EXPECT_EQ(cellState(cell), "status=Downloaded bytes=11 bytes folder");

    // A click on the row opens the file with its application.
    g_signal_emit_by_name(gtk_widget_get_parent(cell->row()), "row-activated", cell->row());
    ASSERT_TRUE(waitUntil([&] { return !openedFiles().empty(); }));
    const std::string opened = openedFiles()[0];
    EXPECT_TRUE(opened == op->path() || opened == "file://" + op->path()) << opened;

    // No file manager on the bus here: the folder opens with its application.
    gtk_button_clicked(GTK_BUTTON(cell->showInFolderButton()));
    ASSERT_TRUE(waitUntil([&] { return !openedFolders().empty(); }));
    const std::string folder = openedFolders()[0];
    EXPECT_TRUE(folder == downloadsFolder() || folder == "file://" + downloadsFolder()) << folder;
}

TEST_F(DownloadsTest, RunningRowDoesNotOpenAnything)
{
    holdBackAnswers("files.example.com/slow", "abc");
    auto op = download("slow.txt", "http://files.example.com/slow");
    ASSERT_TRUE(waitUntil([&] { return held_.size() == 1; }));
    KTDownloadsView::Cell* cell = cellFor(op);
    ASSERT_NE(cell, nullptr);
    g_signal_emit_by_name(gtk_widget_get_parent(cell->row()), "row-activated", cell->row());
    releaseOne();
    ASSERT_TRUE(waitUntil([&] { return op->state() == KTDownloadOperation::State::Completed; }));
    drainEvents();
    EXPECT_TRUE(openedFiles().empty());
}

// Serves `total` bytes in chunks, each written only after the previous one
// left: the server holds one chunk at a time, whatever the size.
class StreamingBody {
public:
    static constexpr size_t kChunk = 256 * 1024;

    StreamingBody(SoupServerMessage* msg, uint64_t total)
        : msg_(msg)
        , left_(total)
        , chunk_(kChunk, 'q')
    {
        soup_server_message_set_status(msg, 200, nullptr);
        SoupMessageHeaders* out = soup_server_message_get_response_headers(msg);
        soup_message_headers_set_content_type(out, "application/octet-stream", nullptr);
        soup_message_headers_set_content_length(out, total);
        SoupMessageBody* body = soup_server_message_get_response_body(msg);
        soup_message_body_set_accumulate(body, FALSE);
        g_signal_connect(msg, "wrote-chunk", G_CALLBACK(+[](SoupServerMessage*, StreamingBody* self) {
                             self->next();
                         }),
                         this);
        g_signal_connect(msg, "finished", G_CALLBACK(+[](SoupServerMessage*, StreamingBody* self) {
                             delete self;
                         }),
                         this);
        next();
    }

private:
    void next()
    {
        SoupMessageBody* body = soup_server_message_get_response_body(msg_);
        if (left_ == 0) {
            soup_message_body_complete(body);
            return;
        }
        size_t n = std::min<uint64_t>(left_, chunk_.size());
        soup_message_body_append(body, SOUP_MEMORY_COPY, chunk_.data(), n);
        left_ -= n;
    }

    SoupServerMessage* msg_;
    uint64_t left_;
    std::string chunk_;
};

long statusKiB(const char* field)
{
    std::ifstream in("/proc/self/status");
    for (std::string line; std::getline(in, line);)
        if (line.rfind(field, 0) == 0)
            return std::stol(line.substr(std::string(field).size()));
    return -1;
}

// A response of the page turned into a download after the save dialog (the
// app's own downloads by URL end in the same WebKit download).
TEST_F(DownloadsTest, LargeDownloadStreamsToDiskWithFlatMemory)
{
    constexpr uint64_t kSize = 300ull * 1024 * 1024;
    server->handle("files.example.com/huge.bin", [](SoupServerMessage* msg, const HttpRequest&) {
        new StreamingBody(msg, kSize);
        soup_message_headers_append(soup_server_message_get_response_headers(msg), "Content-Disposition",
                                    "attachment; filename=\"huge.bin\"");
        return true;
    });
    const long rssBefore = statusKiB("VmRSS:"), peakBefore = statusKiB("VmHWM:");
    page->loadRequest("http://files.example.com/huge.bin");
    GtkWidget* save = waitForSaveDialog();
    ASSERT_NE(save, nullptr);
    answerSaveDialog(save, downloadsFolder() + "/huge.bin");
    ASSERT_TRUE(waitUntil([&] { return !queue().operationsArray().empty(); }));
    std::shared_ptr<KTDownloadOperation> op = queue().operationsArray()[0];
    ASSERT_TRUE(waitUntil([&] { return op->state() != KTDownloadOperation::State::Running; }, 170s));
    ASSERT_EQ(op->state(), KTDownloadOperation::State::Completed);
    const long rssAfter = statusKiB("VmRSS:"), peakAfter = statusKiB("VmHWM:");

    struct stat st {};
    ASSERT_EQ(::stat(op->path().c_str(), &st), 0);
    EXPECT_EQ(static_cast<uint64_t>(st.st_size), kSize);
    EXPECT_EQ(op->downloaded(), kSize);
    EXPECT_EQ(server->hits("files.example.com/huge.bin"), 1u);
    std::printf("download of %llu MiB: this process VmRSS %ld -> %ld KiB, VmHWM %ld -> %ld KiB\n",
                static_cast<unsigned long long>(kSize >> 20), rssBefore, rssAfter, peakBefore, peakAfter);
    // The network process writes the file; this process (server included)
    // only sees progress reports. Its peak grows by far less than the file.
    EXPECT_LT(peakAfter - peakBefore, static_cast<long>(kSize / 1024 / 5));
    std::remove(op->path().c_str());
}

} // namespace
} // namespace quilt::test
