#include "core/context.h"

#include "support/app_support.h"

namespace tarn {

CommandContext::CommandContext(std::ostream& out, std::ostream& err, DesktopOpener openDesktop,
                               BrowsersOpener openBrowsers, TabsOpener openTabs)
    : out(out),
      err(err),
      open_(std::move(openDesktop)),
      openBrowsers_(std::move(openBrowsers)),
      openTabs_(std::move(openTabs)) {}

CommandContext::CommandContext(std::ostream& out, std::ostream& err, platform::Desktop& desktop)
    : out(out), err(err), desktop_(&desktop) {}

platform::Desktop& CommandContext::desktop() {
    if (desktop_) return *desktop_;
    if (!open_) throw platform::DesktopError("No desktop to work on");
    platform::DesktopChoice choice = open_();
    if (!choice.desktop) throw platform::DesktopError(choice.error);
    owned_ = std::move(choice.desktop);
    desktop_ = owned_.get();
    owned_->beginOperation();
    return *desktop_;
}

void CommandContext::endDesktopOperation() {
    if (owned_) owned_->endOperation();
}

platform::BrowserServices& CommandContext::browsers() {
    if (desktop_) return desktop_->browsers();
    if (!browsers_ && openBrowsers_) browsers_ = openBrowsers_();
    if (browsers_) return *browsers_;
    return desktop().browsers();
}

std::unique_ptr<platform::BrowserTabs> CommandContext::browserTabs(const std::string& browser) {
    if (!desktop_ && openTabs_) {
        if (auto tabs = openTabs_(browser)) return tabs;
    }
    return desktop().browserTabs(browser);
}

std::filesystem::path CommandContext::appSupportDir() const {
    if (!appSupportDir_) {
        appSupportDir_ = support::getAppSupportDir(support::kAppDirName);
    } else {
        // Made again if it was removed while the agent runs, so the next save still lands.
        std::error_code ignored;
        std::filesystem::create_directories(*appSupportDir_, ignored);
    }
    return *appSupportDir_;
}

}  // namespace tarn
