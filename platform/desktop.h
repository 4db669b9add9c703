#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "platform/browser.h"
#include "platform/browser_tabs.h"
#include "platform/displays.h"
#include "platform/input.h"
#include "platform/window_system.h"

namespace tarn::platform {

// A backend that loses its desktop half-way (a sim file that turns unreadable, an X server
// that goes away) throws this; the command line reports it as one ERROR: line, status 1.
class DesktopError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// One implementation of every interface, chosen once at the program's entry.
class Desktop {
  public:
    virtual ~Desktop() = default;
    virtual WindowSystem& windowSystem() = 0;
    virtual Displays& displays() = 0;
    virtual KeyboardOutput& keyboard() = 0;
    virtual Clipboard& clipboard() = 0;
    virtual Pointer& pointer() = 0;
    virtual Accessibility& accessibility() = 0;
    virtual Sleeper& sleeper() = 0;
    virtual BrowserServices& browsers() = 0;
    virtual ScriptRunner& scripts() = 0;
    // The tabs of the named browser where the desktop reaches them without scripts; null
    // where browsers are driven through scripts() instead.
    virtual std::unique_ptr<BrowserTabs> browserTabs(const std::string& browser) {
        (void)browser;
        return nullptr;
    }

    // Starts a new operation on a desktop that outlives one (the agent's): what the
    // backends remember of the last one is dropped.
    void forgetRemembered() {
        windowSystem().forget();
        displays().forget();
    }
};

struct DesktopChoice {
    std::unique_ptr<Desktop> desktop;
    std::string error;  // why there is none, when desktop is null
};

// TARN_SIM_DESKTOP=<file> gives the simulated desktop; otherwise the platform's real one
// when it can be had; otherwise no desktop and an error naming what is missing.
DesktopChoice openDesktop();

// The same desktop for the agent: a long-running process with threads, which a backend
// must not fork (the X11 clipboard serves its text from a thread of the process instead of
// a forked owner that outlives a one-shot command).
DesktopChoice openAgentDesktop();

// Browser services that need no display: on Linux the default browser lives in XDG files,
// so a text console or an SSH login has them too. Null where they come only with the
// desktop (a simulated desktop keeps them in its file; macOS).
std::unique_ptr<BrowserServices> openDisplaylessBrowserServices();

// The named browser's tabs where they need no display: on Linux through Tarn's browser
// extension and its host. Null on a simulated desktop (its file has them) and elsewhere.
std::unique_ptr<BrowserTabs> openDisplaylessBrowserTabs(const std::string& browser);

}  // namespace tarn::platform
