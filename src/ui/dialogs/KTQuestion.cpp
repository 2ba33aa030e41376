#include "ui/dialogs/KTQuestion.h"

#include <memory>

namespace quilt {

namespace {
using Answered = std::function<void(bool)>;
constexpr const char* kAnswered = "quilt-question-answered";
} // namespace

void KTQuestion::present(GtkWidget* dialog, std::function<void(bool)> answered)
{
    gtk_window_set_destroy_with_parent(GTK_WINDOW(dialog), TRUE);
    g_object_set_data_full(G_OBJECT(dialog), kAnswered, new Answered(std::move(answered)),
                           +[](gpointer p) { delete static_cast<Answered*>(p); });
    g_signal_connect(dialog, "response", G_CALLBACK(+[](GtkDialog* d, int response, gpointer) {
                         answer(GTK_WIDGET(d), response == GTK_RESPONSE_ACCEPT, true);
                     }),
                     nullptr);
    g_signal_connect(dialog, "destroy", G_CALLBACK(+[](GtkWidget* d, gpointer) { answer(d, false, false); }),
                     nullptr);
    gtk_window_present(GTK_WINDOW(dialog));
}

void KTQuestion::answer(GtkWidget* dialog, bool yes, bool destroy)
{
    // Taken off the dialog first: the one answer.
    std::unique_ptr<Answered> answered(static_cast<Answered*>(g_object_steal_data(G_OBJECT(dialog), kAnswered)));
    if (!answered)
        return;
    if (destroy)
        gtk_widget_destroy(dialog);
    (*answered)(yes);
}

} // namespace quilt
