#include "TestEnvironment.h"

#include "core/services/KTDownloadQueue.h"

#include <gtest/gtest.h>

#include <sstream>

using namespace quilt;
using State = KTDownloadOperation::State;

namespace {

// Stand-in for the glue's WebKit transfer (the core has no engine): records
// start and cancel calls and can misbehave the way a transfer may, failing
// inside its own start or reporting a failure when cancelled.
class FakeTransfer : public KTDownloadOperation {
public:
    FakeTransfer(std::string name, std::vector<std::string>* journal)
        : KTDownloadOperation("/downloads/" + name, "https://site.example/" + name, name)
        , journal_(journal)
    {
    }
    bool failOnStart = false;
    int starts = 0, cancels = 0;

protected:
    void startTransfer() override
    {
        ++starts;
        journal_->push_back("start " + fileName());
        if (failOnStart)
            didFail("error: could not connect");
    }
    void cancelTransfer() override
    {
        ++cancels;
        journal_->push_back("cancel " + fileName());
        // WebKit reports a cancelled download as failed, at once.
        didFail("error: cancelled");
    }

private:
    std::vector<std::string>* journal_;
};

class DownloadQueueTest : public testing::Test {
protected:
    std::shared_ptr<FakeTransfer> add(const std::string& name, bool failOnStart = false)
    {
        auto op = std::make_shared<FakeTransfer>(name, &journal);
        op->failOnStart = failOnStart;
        ops.push_back(op);
        queue.addDownloadOperation(op);
        return op;
    }
    // "r" running, "q" queued, "c" cancelled, "d" done, "f" failed, in order of adding.
    std::string states() const
    {
        std::string s;
        for (const auto& op : queue.operationsArray())
            s += "qrdcf"[static_cast<int>(op->state())];
        return s;
    }

    std::vector<std::string> journal;
    std::vector<std::shared_ptr<FakeTransfer>> ops;
    KTDownloadQueue queue;
    test::LogCapture log;
};

TEST_F(DownloadQueueTest, AtMostThreeRunInOrderOfAdding)
{
    for (const char* n : {"a", "b", "c", "d", "e"})
        add(n);
    EXPECT_EQ(states(), "rrrqq");
    EXPECT_EQ(queue.runningCount(), 3u);
    EXPECT_EQ(queue.waitingCount(), 2u);

    ops[1]->didFinish();
    EXPECT_EQ(states(), "rdrrq");
    ops[0]->didFail("error: reset");
    EXPECT_EQ(states(), "fdrrr");
    EXPECT_EQ(journal, (std::vector<std::string>{"start a", "start b", "start c", "start d", "start e"}));
    // Everything ever added stays listed, in order.
    ASSERT_EQ(queue.operationsArray().size(), 5u);
    EXPECT_EQ(queue.operationsArray()[4], ops[4]);
}

TEST_F(DownloadQueueTest, CancelQueuedNeverStarts)
{
    for (const char* n : {"a", "b", "c", "d", "e"})
        add(n);
    ops[3]->cancelDownload();
    EXPECT_EQ(states(), "rrrcq");
    EXPECT_EQ(ops[3]->cancels, 0); // nothing to cancel: it never ran
    ops[0]->didFinish();
    EXPECT_EQ(states(), "drrcr");
    EXPECT_EQ(ops[3]->starts, 0);
}

TEST_F(DownloadQueueTest, CancelRunningStartsTheNext)
{
    for (const char* n : {"a", "b", "c", "d"})
        add(n);
    ops[1]->cancelDownload();
    EXPECT_EQ(states(), "rcrr");
    EXPECT_EQ(ops[1]->cancels, 1);
    // The transfer's failure report after the cancel changed nothing.
    EXPECT_TRUE(ops[1]->isCanceled());
    EXPECT_EQ(queue.runningCount(), 3u);
    EXPECT_EQ(log.lines().size(), 0u);
    // A second cancel, or late reports, do nothing.
    ops[1]->cancelDownload();
    ops[1]->didFinish();
    ops[1]->didReceiveData(10, 10);
    EXPECT_EQ(ops[1]->cancels, 1);
    EXPECT_EQ(states(), "rcrr");
}

TEST_F(DownloadQueueTest, TransferFailingInsideItsStartFreesItsSlot)
{
    for (const char* n : {"a", "b", "c", "d", "e", "f"})
        add(n, *n == 'c' || *n == 'd');
    // c and d fail while being started; e and f take their slots.
    EXPECT_EQ(states(), "rrffrq");
    EXPECT_EQ(queue.runningCount(), 3u);
    EXPECT_EQ(log.count("error: could not connect"), 2u);
}

TEST_F(DownloadQueueTest, ProgressAndRowStates)
{
    auto op = add("report.pdf");
    std::vector<double> reported;
    op->setProgressHandler([&](double p) { reported.push_back(p); });

    using Row = KTDownloadOperation::RowState;
    EXPECT_EQ(op->rowState(), (Row{true, false, "", true, false, true, "0 bytes", 0.0}));
    EXPECT_EQ(op->getProgress(), 0.0);

    op->didReceiveData(250, 1000);
    EXPECT_EQ(op->getProgress(), 25.0);
    EXPECT_EQ(op->downloaded(), 250u);
    EXPECT_EQ(op->rowState().byteCountText, "250 bytes");
    // Unknown length: no meaningful percentage.
    op->didReceiveData(300, std::nullopt);
    EXPECT_EQ(op->getProgress(), -1.0);
    EXPECT_FALSE(op->opensFileWhenSelected());
    op->didReceiveData(1000, 1000);
    EXPECT_EQ(op->getProgress(), 100.0);
    // At exactly 100 the row already reads "Downloaded" and a click opens the file.
    EXPECT_EQ(op->rowState().statusText, "Downloaded");
    EXPECT_TRUE(op->opensFileWhenSelected());
    op->didFinish();
    EXPECT_EQ(reported, (std::vector<double>{25.0, -1.0, 100.0, 100.0}));

    // GLib keeps number and unit together.
    EXPECT_EQ(op->rowState(), (Row{false, true, "Downloaded", false, true, true, "1.0\u00a0kB", 100.0}));
}

TEST_F(DownloadQueueTest, CancelledAndFailedRows)
{
    auto cancelled = add("a");
    auto failed = add("b");
    cancelled->didReceiveData(10, 100);
    std::vector<double> reported;
    cancelled->setProgressHandler([&](double p) { reported.push_back(p); });
    cancelled->cancelDownload();
    cancelled->didReceiveData(20, 100); // after the cancel: no report
    EXPECT_TRUE(reported.empty());

    EXPECT_EQ(cancelled->rowState(),
              (KTDownloadOperation::RowState{false, true, "Canceled", false, false, false, "10 bytes", 10.0}));
    EXPECT_FALSE(cancelled->opensFileWhenSelected());

    failed->didReceiveData(40, 100);
    failed->didFail("error: timed out");
    // A failure keeps the running look with its last progress.
    EXPECT_EQ(failed->rowState(),
              (KTDownloadOperation::RowState{true, false, "", true, false, true, "40 bytes", 40.0}));
    EXPECT_EQ(log.count("error: timed out"), 1u);
}

TEST(DownloadTarget, PathAndNameRules)
{
    struct {
        const char* name;
        const char* path;
        const char* fileName;
    } cases[] = {
        {"report.pdf", "/home/u/Downloads/report.pdf", "report.pdf"},
        {"", "/home/u/Downloads/file", "file"},
        {"page.html", "/home/u/Downloads/page.html", "page.html"},
        {"=x.pdf", "/home/u/Downloads/=x.pdf", "=x.pdf"},
        // A server cannot steer the file out of the folder.
        {"../../.profile", "/home/u/Downloads/.profile", ".profile"},
        {"a/b/c.txt", "/home/u/Downloads/c.txt", "c.txt"},
        {"..", "/home/u/Downloads/file", "file"},
        {"dir/", "/home/u/Downloads/file", "file"},
        {"résumé 2024.pdf", "/home/u/Downloads/résumé 2024.pdf", "résumé 2024.pdf"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(KTDownloadQueue::targetInFolder("/home/u/Downloads", c.name),
                  (KTDownloadTarget{c.path, c.fileName}));
    }
    EXPECT_EQ(KTDownloadQueue::safeFileName(std::string("a\0b", 3)), "a_b");
}

} // namespace
