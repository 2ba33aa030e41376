#include "core/web/KTResponsePolicy.h"

#include <gtest/gtest.h>

using namespace quilt;
using Action = KTResponseDecision::Action;

namespace {

struct ResponseCase {
    const char* name;
    KTResponseInfo response;
    Action action;
    const char* fileName = "";
    bool clearNeedToDownload = false;
};

void PrintTo(const ResponseCase& c, std::ostream* os) { *os << c.name; }

KTResponseInfo resp(std::string mime, std::string url, std::optional<std::string> disposition = std::nullopt,
                    bool mainFrame = true, bool needToDownload = false)
{
    return {std::move(mime), std::move(url), std::move(disposition), mainFrame, needToDownload};
}

const ResponseCase kCases[] = {
    {"HtmlPageShown", resp("text/html", "https://site.example/inbox"), Action::Allow},
    {"PdfMainFrameAlwaysDownloads", resp("application/pdf", "https://site.example/docs/report.pdf"),
     Action::Download, "report.pdf"},
    {"PdfWithInlineDispositionStillDownloads",
     resp("application/pdf", "https://site.example/view", "inline; filename=\"invoice.pdf\""), Action::Download,
     "invoice.pdf"},
    {"JsonIsApplicationSoDownloads", resp("application/json", "https://site.example/api/data"), Action::Download,
     "data"},
    {"AudioDownloads", resp("audio/mpeg", "https://site.example/a/song.mp3"), Action::Download, "song.mp3"},
    {"VideoDownloads", resp("video/mp4", "https://site.example/v/clip.mp4"), Action::Download, "clip.mp4"},
    {"BinaryDownloads", resp("binary/octet-stream", "https://site.example/blob"), Action::Download, "blob"},
    // The URL's query stays part of the fallback name.
    {"FallbackNameKeepsQuery", resp("application/zip", "https://site.example/get/archive.zip?token=1"),
     Action::Download, "archive.zip?token=1"},
    {"TrailingSlashIgnoredInFallback", resp("application/zip", "https://site.example/files/"), Action::Download,
     "files"},
    {"ImageWithQuestionMarkGetsNoDecision", resp("image/png", "https://site.example/img/pic.png?size=2"),
     Action::NoDecision},
    {"ImageQuestionMarkInDispositionName",
     resp("image/jpeg", "https://site.example/img", "inline; filename=\"what?.jpg\""), Action::NoDecision},
    {"ImageWithoutQuestionMarkDownloads", resp("image/png", "https://site.example/img/pic.png"), Action::Download,
     "pic.png"},
    // The name from the header wins over the URL's, so the "?" of the URL no longer counts.
    {"ImageDispositionNameHidesUrlQuery",
     resp("image/png", "https://site.example/img?id=3", "attachment; filename=\"pic.png\""), Action::Download,
     "pic.png"},
    {"SubFrameAttachmentDownloads",
     resp("text/plain", "https://site.example/frame", "attachment; filename=\"notes.txt\"", false), Action::Download,
     "notes.txt"},
    {"SubFrameInlineWithNameShown",
     resp("text/plain", "https://site.example/frame", "inline; filename=\"notes.txt\"", false), Action::Allow},
    {"SubFrameAttachmentWithoutNameShown", resp("application/pdf", "https://site.example/f", "attachment", false),
     Action::Allow},
    {"SubFramePdfWithoutDispositionShown", resp("application/pdf", "https://site.example/f.pdf", std::nullopt, false),
     Action::Allow},
    {"SubFrameEmptyQuotedNameShown",
     resp("text/plain", "https://site.example/frame", "attachment; filename=\"\"", false), Action::Allow},
    {"NeedToDownloadHtmlSavesPage", resp("text/html; charset=utf-8", "https://site.example/page", std::nullopt, true, true),
     Action::Download, "page.html", true},
    {"NeedToDownloadIgnoredForText", resp("text/plain", "https://site.example/page.txt", std::nullopt, true, true),
     Action::Allow},
    {"NeedToDownloadIgnoredInSubFrame", resp("text/html", "https://site.example/page", std::nullopt, false, true),
     Action::Allow},
    // Substrings, case-sensitive: "Application/PDF" is no match, and is shown.
    {"MimeMatchIsCaseSensitive", resp("Application/PDF", "https://site.example/x.pdf"), Action::Allow},
    {"TextPlainShown", resp("text/plain", "https://site.example/readme"), Action::Allow},
};

class ResponseDecisionTest : public testing::TestWithParam<ResponseCase> {};

TEST_P(ResponseDecisionTest, DecidesAsTheTableSays)
{
    const ResponseCase& c = GetParam();
    KTResponseDecision d = KTResponsePolicy::decide(c.response);
    EXPECT_EQ(d.action, c.action);
    EXPECT_EQ(d.cancel, c.action != Action::Allow);
    EXPECT_EQ(d.clearNeedToDownload, c.clearNeedToDownload);
    if (c.action == Action::Download) {
        EXPECT_EQ(d.fileName, c.fileName);
    }
}

INSTANTIATE_TEST_SUITE_P(Table, ResponseDecisionTest, testing::ValuesIn(kCases),
                         [](const auto& info) { return std::string(info.param.name); });

struct NameCase {
    const char* header;
    std::optional<std::string> name;
};

TEST(ExtractFileName, Forms)
{
    const NameCase cases[] = {
        {"attachment; filename=\"report.pdf\"", "report.pdf"},
        {"attachment; filename=\"r%C3%A9sum%C3%A9 2024.pdf\"", "résumé 2024.pdf"},
        {"attachment; filename*=UTF-8''na%C3%AFve%20file.txt", "naïve file.txt"},
        // Both forms: the quoted name comes first and wins.
        {"attachment; filename=\"plain.txt\"; filename*=UTF-8''fancy.txt", "plain.txt"},
        // The bare form keeps its equals sign.
        {"attachment; filename=x.pdf", "=x.pdf"},
        {"attachment; filename=x.pdf; size=3", "=x.pdf; size=3"},
        {"attachment", std::nullopt},
        {"inline", std::nullopt},
        {"", std::nullopt},
        {"attachment; filename=\"\"", ""},
        // "filename" is matched case-sensitively.
        {"attachment; FILENAME=\"x.pdf\"", std::nullopt},
        // Escapes that do not decode give no name at all.
        {"attachment; filename=\"100%.pdf\"", std::nullopt},
        {"attachment; filename=\"bad%zz.pdf\"", std::nullopt},
        {"attachment; filename=\"latin%E9.pdf\"", std::nullopt},
        // The extended form: everything after the last marker of the whole value.
        {"attachment; filename*=UTF-8''a.txt; x=UTF-8''b.txt", "b.txt"},
        // Quotes decoded from escapes are quotes like any other.
        {"attachment; filename=%22q.pdf%22", "q.pdf"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.header);
        EXPECT_EQ(KTResponsePolicy::extractFileName(c.header), c.name);
    }
}

TEST(ExtractFileName, HostileValuesNeverCrash)
{
    for (std::string header : {std::string("filename"), std::string("filename=\""), std::string("filename=\"\"\""),
                               std::string("%"), std::string("%4"), std::string("filename*=UTF-8''"),
                               std::string("filenamefilenamefilename"), std::string(10000, '%'),
                               std::string("filename=\"a\0b\"", 14)}) {
        SCOPED_TRACE(header);
        (void)KTResponsePolicy::extractFileName(header);
    }
    EXPECT_EQ(KTResponsePolicy::extractFileName("filename*=UTF-8''"), "");
    EXPECT_EQ(KTResponsePolicy::extractFileName("filenamefilename"), "");
}

} // namespace
