#include "web/KTWebUIDelegate.h"

#include <glib.h>

namespace quilt {

namespace {
KTWebUIDelegate neutral;
KTWebUIDelegate* current = &neutral;

// Answers from the main loop, never inside the engine's signal that asked:
// WebKit does not expect a question closed before its signal returns.
void later(std::function<void()> answer)
{
    g_idle_add_full(G_PRIORITY_DEFAULT_IDLE,
                    +[](gpointer data) -> gboolean {
                        (*static_cast<std::function<void()>*>(data))();
                        return G_SOURCE_REMOVE;
                    },
                    new std::function<void()>(std::move(answer)),
                    +[](gpointer data) { delete static_cast<std::function<void()>*>(data); });
}
} // namespace

KTWebUIDelegate& KTWebUIDelegate::shared() { return *current; }

void KTWebUIDelegate::setShared(KTWebUIDelegate* delegate) { current = delegate ? delegate : &neutral; }

void KTWebUIDelegate::runScriptAlert(GtkWindow*, const std::string&, bool, bool, std::function<void(bool, bool)> done)
{
    later([done = std::move(done)] { done(false, false); });
}

void KTWebUIDelegate::chooseUploadFiles(GtkWindow*, bool, std::function<void(std::vector<std::string>)> done)
{
    later([done = std::move(done)] { done({}); });
}

KTWebUIDelegate::Dismiss KTWebUIDelegate::askForLogin(GtkWindow*, const std::string&, const std::string&,
                                                      std::function<void(std::optional<KTLogin>)> done)
{
    later([done = std::move(done)] { done(std::nullopt); });
    return {};
}

void KTWebUIDelegate::askToOpenApp(GtkWindow*, const std::string&, std::function<void(bool)> done)
{
    later([done = std::move(done)] { done(false); });
}

void KTWebUIDelegate::chooseSavePath(GtkWindow*, const std::string&, const std::string&,
                                     std::function<void(std::optional<std::string>)> done)
{
    later([done = std::move(done)] { done(std::nullopt); });
}

void KTWebUIDelegate::askToSavePassword(GtkWindow*, std::function<void(bool)> done)
{
    later([done = std::move(done)] { done(false); });
}

void KTWebUIDelegate::askToUpdatePassword(GtkWindow*, const std::string&, const std::string&,
                                          std::function<void(bool)> done)
{
    later([done = std::move(done)] { done(false); });
}

} // namespace quilt
