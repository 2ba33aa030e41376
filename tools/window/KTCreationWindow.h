#pragma once

#include "KTBuilder.h"
#include "KTCreationRequest.h"
#include "KTMadeAppList.h"
#include "KTToolProcess.h"
#include "core/config/KTSignal.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace quilt {

struct KTProbedSite;

// The window of quilt-create for people who do not use a terminal: an
// address, a name and icon taken from the site (until the person changes
// them), the main options, Create, and the apps made so far. Creating runs
// quilt-create itself; this class only gathers its arguments and shows how
// it went.
class KTCreationWindow {
public:
    // With an application, the window keeps it running while open.
    explicit KTCreationWindow(GtkApplication* application = nullptr);
    ~KTCreationWindow();
    KTCreationWindow(const KTCreationWindow&) = delete;
    KTCreationWindow& operator=(const KTCreationWindow&) = delete;

    GtkWindow* window() const { return window_; }
    void present();

    // The address is read from the site this long after the last keystroke.
    static constexpr unsigned kProbeDelayMs = 600;

private:
    KTCreationRequest request() const;
    void addressChanged();
    void probe();
    void probed(const std::string& url, const KTToolProcess::Result& result);
    void fillIn(const KTProbedSite& site);
    void showIcon(const std::optional<std::string>& path, const std::string& note);
    void showLetterIcon();
    void chooseIcon();
    void create();
    // `named`: the arguments hold the app's name (else the tool chooses it).
    void run(const std::vector<std::string>& argv, const std::string& name, bool named, bool replacing);
    void created(const std::vector<std::string>& argv, const std::string& name, bool named, bool replacing,
                 const KTToolProcess::Result& result);
    void askReplace(const std::vector<std::string>& argv, bool named, const std::string& bundle);
    void setBusy(bool busy);
    void setStatus(const std::string& text, bool error);

    KTBuilder ui_;
    GtkWindow* window_;
    GtkEntry* address_;
    GtkEntry* name_;
    GtkWidget* createButton_;
    GtkProgressBar* progress_;
    GtkLabel* status_;
    std::unique_ptr<KTMadeAppList> apps_;

    KTToolProcess probe_, creation_;
    KTSource probeTimer_, pulse_;
    std::string probedUrl_;
    // The site fills in only what the person has not changed.
    bool filling_ = false;
    bool nameEdited_ = false;
    bool letterShown_ = false; // follows the name's initial
    std::optional<std::string> siteIcon_, chosenIcon_;

    KTSignal addressChanged_, addressFocusOut_, nameChanged_, chooseClicked_, createClicked_;
};

} // namespace quilt
