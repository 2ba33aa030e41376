// The History menu with a long history: a window holds the main menu twice
// as GTK shows it (a menu bar and a menu button's popover), and the figures
// are what the menu's openings cost.
//
//   history_menu_bench [ENTRIES...]   (default 1000 10000 100000)
//
// "first fill": the menu and a window showing it made with every title (GTK
// makes a widget per title in each menu); "again": reopened with nothing
// changed; "after a visit": one title moved; "History shown": the History
// submenu popped up until mapped and drawn.

#include "core/config/KTBundle.h"
#include "core/config/KTFileUtil.h"
#include "core/config/KTHistoryManager.h"
#include "core/config/KTJson.h"
#include "core/config/KTShared.h"
#include "ui/menubar/KTMainMenuController.h"
#include "IsolatedHome.h"

#include <gtk/gtk.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

using namespace quilt;

namespace {

using Clock = std::chrono::steady_clock;

struct Cost {
    double ms = 0, cpuMs = 0;
};

double cpuMs()
{
    timespec ts {};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &ts);
    return ts.tv_sec * 1e3 + ts.tv_nsec / 1e6;
}

void drain()
{
    while (gtk_events_pending())
        gtk_main_iteration_do(FALSE);
}

// Runs work and then the main loop until it is idle.
template <class Work>
Cost timed(Work&& work)
{
    const double c0 = cpuMs();
    const auto t0 = Clock::now();
    work();
    drain();
    return {std::chrono::duration<double, std::milli>(Clock::now() - t0).count(), cpuMs() - c0};
}

long rssKb()
{
    FILE* f = std::fopen("/proc/self/status", "r");
    char line[256];
    long kb = 0;
    while (f && std::fgets(line, sizeof line, f))
        if (std::strncmp(line, "VmRSS:", 6) == 0)
            kb = std::strtol(line + 6, nullptr, 10);
    if (f)
        std::fclose(f);
    return kb;
}

std::string historyFile(size_t n)
{
    KTJson history = KTJson::object();
    for (size_t i = 0; i < n; ++i)
        history["Inbox - Quarterly report and planning notes #" + std::to_string(i)] =
            KTJson {{"url", "https://mail.example.com/inbox/" + std::to_string(i)},
                    {"date", KTHistoryManager::dateString(1700000000 + static_cast<std::time_t>(i) * 60)}};
    return json::compact(history);
}

GtkWidget* historyItemOf(GtkWidget* bar)
{
    GList* items = gtk_container_get_children(GTK_CONTAINER(bar));
    GtkWidget* found = nullptr;
    for (GList* l = items; l; l = l->next)
        if (const char* label = gtk_menu_item_get_label(GTK_MENU_ITEM(l->data)); label && !std::strcmp(label, "History"))
            found = GTK_WIDGET(l->data);
    g_list_free(items);
    return found;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::vector<size_t> sizes;
    for (int i = 1; i < argc; ++i)
        sizes.push_back(std::strtoul(argv[i], nullptr, 10));
    if (sizes.empty())
        sizes = {1000, 10000, 100000};

    char tmpl[] = "/tmp/quilt-menu-bench-XXXXXX";
    const std::string root = ::mkdtemp(tmpl);
    const std::string home = test::isolateHome(root);
    KTBundle::setMainPath(test::makeAppBundle(root, "Bench", "1.0", "bench"));
    const std::string folder = home + "/.local/share/Quilt/bench/";
    KTFileUtil::makeDirectories(folder);
    if (!gtk_init_check(&argc, &argv)) {
        std::fprintf(stderr, "history_menu_bench: no display (run it under tests/desktop-session)\n");
        return 1;
    }

    std::printf("history_menu_bench: ms (cpu ms); the window holds a menu bar and a menu button\n\n");
    std::printf("%8s %18s %16s %16s %18s %10s\n", "titles", "first fill", "again", "after a visit", "History shown",
                "menus MB");
    for (size_t n : sizes) {
        KTFileUtil::writeAtomically(folder + "history.json", historyFile(n));
        KTShared<KTHistoryManager>::reset();
        auto& store = KTHistoryManager::sharedManager();
        store.size(); // loaded before the clock starts

        // The controller fills its History menu from the ready store at
        // once; GTK then makes the menus' widgets as the window is shown.
        std::unique_ptr<KTMainMenuController> menu;
        GtkWidget* window = nullptr;
        GtkWidget* bar = nullptr;
        const long before = rssKb();
        const Cost first = timed([&] {
            menu = std::make_unique<KTMainMenuController>("Bench", nullptr);
            window = gtk_window_new(GTK_WINDOW_TOPLEVEL);
            GtkWidget* box = gtk_box_new(GTK_ORIENTATION_VERTICAL, 0);
            bar = gtk_menu_bar_new_from_model(menu->model());
            GtkWidget* button = gtk_menu_button_new();
            gtk_menu_button_set_menu_model(GTK_MENU_BUTTON(button), menu->model());
            gtk_container_add(GTK_CONTAINER(box), bar);
            gtk_container_add(GTK_CONTAINER(box), button);
            gtk_container_add(GTK_CONTAINER(window), box);
            gtk_window_set_default_size(GTK_WINDOW(window), 800, 600);
            gtk_widget_show_all(window);
            menu->menuWillOpen();
        });
        const long after = rssKb();
        menu->menuDidClose();
        const Cost again = timed([&] { menu->menuWillOpen(); });
        menu->menuDidClose();
        store.addUrlWithNameForDate("https://mail.example.com/new", "Inbox - Quarterly report and planning notes #7",
                                    KTHistoryManager::dateString(1900000000));
        const Cost visit = timed([&] { menu->menuWillOpen(); });

        // The History submenu popped up as a user opens it, until drawn.
        GtkWidget* item = historyItemOf(bar);
        // -1: not shown within a minute.
        GtkWidget* submenu = item ? gtk_menu_item_get_submenu(GTK_MENU_ITEM(item)) : nullptr;
        Cost shown {-1, -1};
        if (submenu) {
            shown = timed([&] {
                gtk_menu_popup_at_widget(GTK_MENU(submenu), item, GDK_GRAVITY_SOUTH_WEST, GDK_GRAVITY_NORTH_WEST,
                                         nullptr);
                const auto give_up = Clock::now() + std::chrono::seconds(60);
                while (!gtk_widget_get_mapped(submenu) && Clock::now() < give_up)
                    if (!g_main_context_iteration(nullptr, FALSE))
                        g_usleep(1000);
            });
            gtk_menu_popdown(GTK_MENU(submenu));
        }
        menu->menuDidClose();
        std::printf("%8zu %9.1f (%6.1f) %7.1f (%6.1f) %7.1f (%6.1f) %8.1f (%7.1f) %10.1f\n", n, first.ms, first.cpuMs,
                    again.ms, again.cpuMs, visit.ms, visit.cpuMs, shown.ms, shown.cpuMs, (after - before) / 1024.0);
        gtk_widget_destroy(window);
        menu.reset();
        drain();
    }
    std::printf("\naim: the History menu opens at once (again, after a visit) with 100000 titles\n");
    KTFileUtil::removeTree(root);
    return 0;
}
