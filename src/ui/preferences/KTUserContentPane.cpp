#include "ui/preferences/KTUserContentPane.h"

#include "core/web/KTScriptsManager.h"
#include "core/web/KTStylesManager.h"

namespace quilt {

GtkWidget* KTUserContentPane::widget()
{
    if (!ui_) {
        ui_ = std::make_unique<KTBuilder>("/org/quilt/ui/preferences/user-content.ui");
        styles_ = std::make_unique<KTRuleEditor>(KTStylesManager::sharedManager());
        scripts_ = std::make_unique<KTRuleEditor>(KTScriptsManager::sharedManager());
        GtkStack* stack = GTK_STACK(ui_->widget("kinds"));
        gtk_stack_add_titled(stack, styles_->widget(), "styles", "Styles");
        gtk_stack_add_titled(stack, scripts_->widget(), "scripts", "Scripts");
    }
    return ui_->widget("pane");
}

void KTUserContentPane::commit()
{
    if (styles_)
        styles_->save();
    if (scripts_)
        scripts_->save();
}

} // namespace quilt
