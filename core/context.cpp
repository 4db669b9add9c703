#include "core/context.h"

#include "support/app_support.h"

namespace tarn {

CommandContext::CommandContext(std::ostream& out, std::ostream& err, DesktopOpener openDesktop)
    : out(out), err(err), open_(std::move(openDesktop)) {}

CommandContext::CommandContext(std::ostream& out, std::ostream& err, platform::Desktop& desktop)
    : out(out), err(err), desktop_(&desktop) {}

platform::Desktop& CommandContext::desktop() {
    if (desktop_) return *desktop_;
    if (!open_) throw platform::DesktopError("No desktop to work on");
    platform::DesktopChoice choice = open_();
    if (!choice.desktop) throw platform::DesktopError(choice.error);
    owned_ = std::move(choice.desktop);
    desktop_ = owned_.get();
    return *desktop_;
}

std::filesystem::path CommandContext::appSupportDir() const {
    return support::getAppSupportDir(support::kAppDirName);
}

}  // namespace tarn
