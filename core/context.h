#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "platform/desktop.h"

namespace tarn {

using Args = std::vector<std::string>;

// What a command handler is given: its two output streams, the desktop (opened on first
// use, so commands that never touch it work without one) and the folder of its files.
// Handlers return their exit status instead of ending the process, so the agent can host
// them and keep running.
class CommandContext {
  public:
    using DesktopOpener = std::function<platform::DesktopChoice()>;
    // Browser services to use while no desktop is open; null: the desktop's.
    using BrowsersOpener = std::function<std::unique_ptr<platform::BrowserServices>()>;
    // A browser's tabs reached without a desktop; null: ask the desktop.
    using TabsOpener =
        std::function<std::unique_ptr<platform::BrowserTabs>(const std::string& browser)>;

    CommandContext(std::ostream& out, std::ostream& err, DesktopOpener openDesktop,
                   BrowsersOpener openBrowsers = {}, TabsOpener openTabs = {});
    // For tests and the agent: a desktop that is already open and owned elsewhere.
    CommandContext(std::ostream& out, std::ostream& err, platform::Desktop& desktop);

    std::ostream& out;
    std::ostream& err;

    // The desktop; throws platform::DesktopError naming what is missing when there is none.
    // A desktop the context opens itself is one operation (Desktop::beginOperation) until
    // endDesktopOperation().
    platform::Desktop& desktop();
    // Ends the operation on the desktop the context opened (what it changed is written);
    // nothing for a desktop owned elsewhere, whose owner ends its operations, or when none was
    // opened. Throws platform::DesktopError when the change cannot be written.
    void endDesktopOperation();

    // The browser services. They open no desktop when the platform has them without one,
    // so the default-browser commands work where there is no display.
    platform::BrowserServices& browsers();

    // The named browser's tabs, without a desktop where the platform reaches them so; null
    // when the browser is driven through the desktop's scripts instead.
    std::unique_ptr<platform::BrowserTabs> browserTabs(const std::string& browser);

    // The Application Support folder "Tarn", created when missing. Looked up once per
    // context: the agent keeps one for its life and acts on every key press.
    std::filesystem::path appSupportDir() const;

  private:
    DesktopOpener open_;
    BrowsersOpener openBrowsers_;
    TabsOpener openTabs_;
    std::unique_ptr<platform::BrowserServices> browsers_;
    std::unique_ptr<platform::Desktop> owned_;
    platform::Desktop* desktop_ = nullptr;
    mutable std::optional<std::filesystem::path> appSupportDir_;
};

}  // namespace tarn
