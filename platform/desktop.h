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

    // One command, or one action of the agent, is one operation on the desktop, begun by
    // whoever opened it and ended when the command or action is done. A backend whose
    // desktop is a file that processes share (the simulated one) takes the file's lock at
    // the operation's first use, reads it once, and writes it once at the end, so parallel
    // commands each keep their change; between operations it sees what others did. Other
    // backends do nothing here. Beginning twice is beginning once.
    virtual void beginOperation() {}
    // Ends the operation: what it changed is written and others may go on. Throws
    // DesktopError when the change cannot be written (the desktop then stays as it was).
    virtual void endOperation() {}
};

struct DesktopChoice {
    std::unique_ptr<Desktop> desktop;
    std::string error;  // why there is none, when desktop is null
};

// How the program uses the desktop it opens (platform/backend.h opens it).
struct DesktopOptions {
    // Text put on the clipboard stays served after the process exits: the one-shot command
    // leaves it for the user to paste. The long-running agent serves it itself, from a
    // thread, and must not fork.
    bool clipboardOutlivesProcess = true;
};

}  // namespace tarn::platform
