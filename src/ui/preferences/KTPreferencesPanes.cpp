#include "ui/preferences/KTPreferencesPanes.h"

#include "ui/preferences/KTAboutPane.h"
#include "ui/preferences/KTAllowListPane.h"
#include "ui/preferences/KTAppearancePane.h"
#include "ui/preferences/KTBehaviorPane.h"
#include "ui/preferences/KTGeneralPane.h"
#include "ui/preferences/KTSavedPasswordsPane.h"
#include "ui/preferences/KTShortcutsPane.h"
#include "ui/preferences/KTUserContentPane.h"

namespace quilt {

std::vector<std::unique_ptr<KTPreferencesPane>> KTPreferencesPanes::make()
{
    std::vector<std::unique_ptr<KTPreferencesPane>> panes;
    panes.push_back(std::make_unique<KTGeneralPane>());
    panes.push_back(std::make_unique<KTAppearancePane>());
    panes.push_back(std::make_unique<KTBehaviorPane>());
    panes.push_back(std::make_unique<KTAllowListPane>());
    panes.push_back(std::make_unique<KTUserContentPane>());
    panes.push_back(std::make_unique<KTShortcutsPane>());
    panes.push_back(std::make_unique<KTSavedPasswordsPane>());
    panes.push_back(std::make_unique<KTAboutPane>());
    return panes;
}

} // namespace quilt
