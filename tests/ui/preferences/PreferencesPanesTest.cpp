// The allow-list, scripts & styles, shortcuts and saved-passwords panes,
// driven with real clicks and keys in a plain window and checked through
// the files they write, an open page and the session's keyring.
#include "support/GuiTest.h"
#include "support/InHelperSession.h"
#include "core/config/KTPlist.h"
#include "core/config/KTShared.h"
#include "core/menubar/KTShortcutManager.h"
#include "core/services/KTServiceManager.h"
#include "ui/preferences/KTAllowListPane.h"
#include "ui/preferences/KTSavedPasswordsPane.h"
#include "ui/preferences/KTShortcutsPane.h"
#include "ui/preferences/KTUserContentPane.h"
#include "web/KTWebViewController.h"

#include <gtk/gtk.h>

#include <cstdlib>

using namespace quilt;
using namespace quilt::test;

namespace {

// A pane in a window of its own, as the preferences window will hold it.
class PaneWindow {
public:
    explicit PaneWindow(KTPreferencesPane& pane)
        : window_(gtk_window_new(GTK_WINDOW_TOPLEVEL))
    {
        gtk_window_set_title(GTK_WINDOW(window_), pane.title());
        gtk_window_set_default_size(GTK_WINDOW(window_), 760, 560);
        gtk_container_add(GTK_CONTAINER(window_), pane.widget());
        gtk_widget_show(window_);
        waitUntil([&] { return gtk_widget_get_mapped(pane.widget()); });
        // In front of any browser window, where the clicks land.
        xdotoolIn(window_, {"windowraise", xidOf(window_)});
        waitUntil([&] { return gtk_window_is_active(GTK_WINDOW(window_)); });
    }
    ~PaneWindow()
    {
        // QUILT_PANE_SHOTS=<prefix>: a screenshot of each pane as its test ends.
        if (const char* shot = std::getenv("QUILT_PANE_SHOTS")) {
            drainEvents();
            runProgram({"import", "-window", "root", std::string(shot) + gtk_window_get_title(GTK_WINDOW(window_)) + ".png"});
        }
        gtk_widget_destroy(window_);
    }
    GtkWidget* window() const { return window_; }

    // The first shown widget of the pane's interface files with that id.
    GtkWidget* find(const char* id) const
    {
        return findChild(window_, [&](GtkWidget* w) {
            return GTK_IS_BUILDABLE(w) && g_strcmp0(gtk_buildable_get_name(GTK_BUILDABLE(w)), id) == 0
                && gtk_widget_get_mapped(w);
        });
    }

private:
    GtkWidget* window_;
};

std::string labelText(GtkWidget* label) { return label ? gtk_label_get_text(GTK_LABEL(label)) : "<none>"; }

size_t rowCount(GtkWidget* view)
{
    return static_cast<size_t>(gtk_tree_model_iter_n_children(gtk_tree_view_get_model(GTK_TREE_VIEW(view)), nullptr));
}

std::string cell(GtkWidget* view, int row, int column)
{
    GtkTreeModel* model = gtk_tree_view_get_model(GTK_TREE_VIEW(view));
    GtkTreeIter it;
    gchar* text = nullptr;
    if (gtk_tree_model_iter_nth_child(model, &it, nullptr, row))
        gtk_tree_model_get(model, &it, column, &text, -1);
    std::string out = text ? text : "<none>";
    g_free(text);
    return out;
}

std::optional<int> selectedRow(GtkWidget* view)
{
    GtkTreeModel* model = nullptr;
    GtkTreeIter it;
    if (!gtk_tree_selection_get_selected(gtk_tree_view_get_selection(GTK_TREE_VIEW(view)), &model, &it))
        return std::nullopt;
    GtkTreePath* path = gtk_tree_model_get_path(model, &it);
    const int row = gtk_tree_path_get_indices(path)[0];
    gtk_tree_path_free(path);
    return row;
}

// The column whose cell is being edited, or -1.
int editingColumn(GtkWidget* view)
{
    GList* children = gtk_container_get_children(GTK_CONTAINER(view));
    const bool editing = children != nullptr;
    g_list_free(children);
    GtkTreeViewColumn* column = nullptr;
    gtk_tree_view_get_cursor(GTK_TREE_VIEW(view), nullptr, &column);
    for (int i = 0; editing && column; ++i)
        if (gtk_tree_view_get_column(GTK_TREE_VIEW(view), i) == column)
            return i;
    return -1;
}

void selectRow(GtkWidget* view, int row)
{
    GtkTreePath* path = gtk_tree_path_new_from_indices(row, -1);
    gtk_tree_view_set_cursor(GTK_TREE_VIEW(view), path, nullptr, FALSE);
    gtk_tree_path_free(path);
}

class PreferencesPanes : public InHelperSession<PolicyTest> {
protected:
    void SetUp() override
    {
        InHelperSession::SetUp();
        if (IsSkipped())
            return;
        server->route("site.example/", HttpPage::html("Site", "<a id=out href='http://other.example/page'>out</a>"));
        server->route("other.example/page", HttpPage::html("Other"));
    }

    std::string dataFile(const std::string& name) const { return env->dataFolder() + name; }
    bool fileHas(const std::string& name, const std::string& text) const
    {
        return waitUntil([&] { return readFile(dataFile(name)).find(text) != std::string::npos; }, 5s);
    }
    // Types into the focused widget and confirms.
    static bool typeAndEnter(GtkWidget* in, const std::string& text)
    {
        return xdotoolIn(in, {"type", "--delay", "20", text}) && xdotoolIn(in, {"key", "Return"});
    }
};

// A pattern added in the pane changes where the next link of an open page
// goes, and the test field judges as the navigation does.
TEST_F(PreferencesPanes, AllowListEditReachesTheOpenPage)
{
    writeAllowList(false, true, {"*site.example*"});
    openWindow();
    ASSERT_TRUE(loadAndWait(page, "http://site.example/"));

    KTAllowListPane pane;
    PaneWindow shown(pane);
    GtkWidget* entry = shown.find("test-entry");
    ASSERT_TRUE(clickWidget(entry));
    ASSERT_TRUE(xdotoolIn(entry, {"type", "other.example/page"}));
    EXPECT_TRUE(waitUntil([&] { return labelText(shown.find("test-result")) == "Opens in your browser"; }))
        << labelText(shown.find("test-result"));

    ASSERT_TRUE(clickWidget(shown.find("add")));
    ASSERT_TRUE(typeAndEnter(shown.find("patterns"), "*other.example*"));
    ASSERT_TRUE(fileHas("whitelist.json", R"("pattern":["*site.example*","*other.example*"])"))
        << readFile(dataFile("whitelist.json"));
    EXPECT_EQ(labelText(shown.find("test-result")), "Stays in the app");
    // A repeated pattern, and a new row left empty, leave one row each.
    GtkWidget* patterns = shown.find("patterns");
    auto newRowEditing = [&] { return rowCount(patterns) == 3 && editingColumn(patterns) == 0; };
    auto twoRowsAtRest = [&] { return rowCount(patterns) == 2 && editingColumn(patterns) == -1; };
    ASSERT_TRUE(clickWidget(shown.find("add")));
    ASSERT_TRUE(waitUntil(newRowEditing));
    ASSERT_TRUE(typeAndEnter(patterns, "*site.example*"));
    EXPECT_TRUE(waitUntil(twoRowsAtRest)) << rowCount(patterns);
    ASSERT_TRUE(clickWidget(shown.find("add")));
    ASSERT_TRUE(waitUntil(newRowEditing));
    ASSERT_TRUE(xdotoolIn(patterns, {"key", "Escape"}));
    EXPECT_TRUE(waitUntil(twoRowsAtRest)) << rowCount(patterns);

    ASSERT_TRUE(clickElement(page, "#out"));
    EXPECT_TRUE(waitShown(page, "http://other.example/page"));
    EXPECT_TRUE(browserUrls().empty());

    // As a block-list the same patterns send both sites away.
    gtk_combo_box_set_active_id(GTK_COMBO_BOX(shown.find("mode")), "block");
    EXPECT_TRUE(fileHas("whitelist.json", R"("allowPatterns":false)"));
    EXPECT_EQ(labelText(shown.find("test-result")), "Opens in your browser");
    // A pattern removed is gone from the file at once.
    selectRow(shown.find("patterns"), 0);
    ASSERT_TRUE(clickWidget(shown.find("remove")));
    EXPECT_TRUE(fileHas("whitelist.json", R"("pattern":["*other.example*"])"));
}

// An enterprise configuration imposes the list at every start: the pane
// says so and takes no edits, but still answers the test field.
TEST_F(PreferencesPanes, EnterpriseAllowListIsLocked)
{
    ASSERT_TRUE(KTPlist::writeFile(env->bundlePath() + "/Contents/Resources/EnterpriseSettings.plist",
                                   {{"isEnterpriseApp", true}}));
    writeAllowList(false, true, {"*site.example*"});
    const std::string before = readFile(dataFile("whitelist.json"));
    KTAllowListPane pane;
    PaneWindow shown(pane);
    EXPECT_NE(shown.find("locked"), nullptr);
    EXPECT_FALSE(gtk_widget_is_sensitive(shown.find("mode")));
    EXPECT_FALSE(gtk_widget_is_sensitive(shown.find("add")));
    ASSERT_TRUE(clickWidget(shown.find("add")));
    drainEvents();
    EXPECT_EQ(rowCount(shown.find("patterns")), 1u);
    ASSERT_TRUE(clickWidget(shown.find("test-entry")));
    ASSERT_TRUE(xdotoolIn(shown.find("test-entry"), {"type", "site.example"}));
    EXPECT_TRUE(waitUntil([&] { return labelText(shown.find("test-result")) == "Stays in the app"; }));
    EXPECT_EQ(readFile(dataFile("whitelist.json")), before);
}

// A style written in the editor applies from the next document of a
// matching page on, and is in the user's file when the pane closes.
TEST_F(PreferencesPanes, UserStyleAppearsOnTheNextDocument)
{
    openWindow();
    ASSERT_TRUE(loadAndWait(page, "http://site.example/"));
    KTUserContentPane pane;
    PaneWindow shown(pane);

    ASSERT_TRUE(clickWidget(shown.find("add-rule")));
    ASSERT_TRUE(xdotoolIn(shown.find("rules"), {"key", "Return"})); // keeps "Rule 0"
    ASSERT_TRUE(clickWidget(shown.find("add-pattern")));
    ASSERT_TRUE(typeAndEnter(shown.find("patterns"), "*site.example*"));
    ASSERT_TRUE(waitUntil([&] { return cell(shown.find("patterns"), 0, 1) == "*site.example*"; }))
        << cell(shown.find("patterns"), 0, 1);
    ASSERT_TRUE(clickWidget(shown.find("text-view")));
    ASSERT_TRUE(xdotoolIn(shown.find("text-view"), {"type", "body { background-color: rgb(1, 2, 3) }"}));
    ASSERT_TRUE(fileHas("userstyles.json", "rgb(1, 2, 3)")) << readFile(dataFile("userstyles.json"));

    EXPECT_NE(runJs(page, "getComputedStyle(document.body).backgroundColor"), "rgb(1, 2, 3)");
    ASSERT_TRUE(loadAndWait(page, "http://site.example/"));
    EXPECT_EQ(runJs(page, "getComputedStyle(document.body).backgroundColor"), "rgb(1, 2, 3)");

    pane.commit();
    const std::string file = readFile(dataFile("userstyles.json"));
    EXPECT_NE(file.find(R"("name":"Rule 0")"), std::string::npos) << file;
    EXPECT_NE(file.find("*site.example*"), std::string::npos) << file;
    EXPECT_NE(file.find("rgb(1, 2, 3)"), std::string::npos) << file;

    // Switched off, the rule no longer applies to the next document.
    GtkWidget* rules = shown.find("rules");
    GdkRectangle box;
    GtkTreePath* first = gtk_tree_path_new_first();
    gtk_tree_view_get_cell_area(GTK_TREE_VIEW(rules), first, gtk_tree_view_get_column(GTK_TREE_VIEW(rules), 0), &box);
    gtk_tree_path_free(first);
    int x = 0, y = 0;
    gtk_tree_view_convert_bin_window_to_widget_coords(GTK_TREE_VIEW(rules), box.x + box.width / 2,
                                                      box.y + box.height / 2, &x, &y);
    gdk_window_get_origin(gtk_widget_get_window(rules), &box.x, &box.y);
    GtkAllocation a;
    gtk_widget_get_allocation(rules, &a);
    ASSERT_EQ(runProgram({"xdotool", "mousemove", "--sync", std::to_string(box.x + a.x + x),
                          std::to_string(box.y + a.y + y), "click", "1"}).exitCode, 0);
    ASSERT_TRUE(fileHas("userstyles.json", R"("state":0)"));
    ASSERT_TRUE(loadAndWait(page, "http://site.example/"));
    EXPECT_NE(runJs(page, "getComputedStyle(document.body).backgroundColor"), "rgb(1, 2, 3)");
}

// The table's own semantics are unit-tested in the core; here: the cursor
// lands in the new word and goes on to its address, remove selects the
// next row, nothing is written before the pane closes.
TEST_F(PreferencesPanes, ShortcutsTableSavesWhenThePaneCloses)
{
    writeDataFile("shortcuts.json", {{"a", "https://a.example/"}, {"b", "https://b.example/"}});
    KTShared<KTShortcutManager>::reset();
    KTShortcutsPane pane;
    PaneWindow shown(pane);
    GtkWidget* table = shown.find("table");
    ASSERT_EQ(rowCount(table), 2u);

    ASSERT_TRUE(clickWidget(shown.find("add")));
    ASSERT_TRUE(typeAndEnter(table, "mail"));
    ASSERT_TRUE(waitUntil([&] { return cell(table, 2, 0) == "mail"; })) << cell(table, 2, 0);
    ASSERT_TRUE(waitUntil([&] { return editingColumn(table) == 1; }));
    ASSERT_TRUE(typeAndEnter(table, "https://mail.example/"));
    ASSERT_TRUE(waitUntil([&] { return cell(table, 2, 1) == "https://mail.example/"; })) << cell(table, 2, 1);
    ASSERT_TRUE(clickWidget(shown.find("add"))); // left without a word
    ASSERT_TRUE(waitUntil([&] { return rowCount(table) == 4 && editingColumn(table) == 0; }));
    ASSERT_TRUE(xdotoolIn(table, {"key", "Escape"}));
    ASSERT_TRUE(waitUntil([&] { return editingColumn(table) == -1; }));

    selectRow(table, 0);
    ASSERT_TRUE(clickWidget(shown.find("remove")));
    ASSERT_TRUE(waitUntil([&] { return rowCount(table) == 3; }));
    EXPECT_EQ(selectedRow(table), 0);
    EXPECT_EQ(cell(table, 0, 0), "b");
    EXPECT_EQ(readFile(dataFile("shortcuts.json")), R"({"a":"https://a.example/","b":"https://b.example/"})");

    pane.commit();
    EXPECT_EQ(readFile(dataFile("shortcuts.json")), R"({"b":"https://b.example/","mail":"https://mail.example/"})");
    EXPECT_EQ(KTShortcutManager::sharedManager().findUrlForShortcut("mail"), "https://mail.example/");
}

// The app's logins from the session's gnome-keyring through the helper:
// listed without passwords, one revealed on request, one removed, then all
// after the question; another site's login stays.
TEST_F(PreferencesPanes, SavedPasswordsListRevealAndRemove)
{
    const std::string site = "https://app-" + std::to_string(g_random_int()) + ".example";
    writeDataFile("settings.json", {{"main_url", site + "/home"}});
    auto save = [](const std::string& password, const std::string& user, const std::string& url) {
        auto ok = std::make_shared<std::optional<bool>>();
        KTServiceManager::sharedManager().saveCredentialsUsernameForURLWithReply(password, user, url,
                                                                                 [ok](bool r) { *ok = r; });
        return waitUntil([&] { return ok->has_value(); }, 20s) && **ok;
    };
    ASSERT_TRUE(save("pw-alice", "alice", site + "/login"));
    ASSERT_TRUE(save("pw-bob", "bob", site));
    ASSERT_TRUE(save("pw-other", "alice", site + ".other.example"));

    KTSavedPasswordsPane pane;
    PaneWindow shown(pane);
    GtkWidget* logins = shown.find("logins");
    ASSERT_TRUE(waitUntil([&] { return rowCount(logins) == 2; }, 20s)) << labelText(shown.find("status"));
    EXPECT_EQ(cell(logins, 0, 0), site);
    EXPECT_EQ(cell(logins, 1, 1), "bob");
    EXPECT_EQ(cell(logins, 1, 2).find("pw"), std::string::npos);

    selectRow(logins, 1);
    ASSERT_TRUE(clickWidget(shown.find("reveal")));
    EXPECT_TRUE(waitUntil([&] { return cell(logins, 1, 2) == "pw-bob"; }, 20s)) << cell(logins, 1, 2);

    selectRow(logins, 0);
    ASSERT_TRUE(clickWidget(shown.find("remove")));
    ASSERT_TRUE(waitUntil([&] { return rowCount(logins) == 1; }, 20s));
    EXPECT_EQ(cell(logins, 0, 1), "bob");
    EXPECT_EQ(runProgram({"secret-tool", "lookup", "site", site, "username", "alice"}, 20s).out, "");

    ASSERT_TRUE(clickWidget(shown.find("remove-all")));
    GtkWidget* question = waitForMessageDialog("Remove all saved passwords of this app?");
    ASSERT_NE(question, nullptr);
    GtkWidget* confirm = gtk_dialog_get_widget_for_response(GTK_DIALOG(question), GTK_RESPONSE_ACCEPT);
    // Once the window manager has placed the question and made it active.
    ASSERT_TRUE(xdotoolIn(confirm, {"sleep", "0"}) && clickWidget(confirm));
    ASSERT_TRUE(waitUntil([&] { return rowCount(logins) == 0; }, 20s));
    EXPECT_EQ(labelText(shown.find("status")), "This app has no saved passwords.");
    EXPECT_FALSE(gtk_widget_is_sensitive(shown.find("remove-all")));
    EXPECT_EQ(runProgram({"secret-tool", "lookup", "site", site + ".other.example", "username", "alice"}, 20s).out,
              "pw-other");
}

} // namespace
