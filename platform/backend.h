#pragma once

// The one place that decides which desktop backend a program talks to, and hands out
// everything that backend serves: the desktop, the agent's services, the parts that live in
// files (XDG browsers, login item, application icons), and what the backend can do.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/agent_services.h"
#include "platform/app_icons.h"
#include "platform/desktop.h"

namespace tarn::platform {

enum class BackendKind { sim, x11, sway, gnome, kde };

// The word TARN_DESKTOP takes for it ("sim" for the simulated desktop).
std::string_view backendName(BackendKind kind);

// The environment as the choice reads it: a variable's value, absent when it is not set.
using Environment = std::function<std::optional<std::string>(std::string_view name)>;
Environment processEnvironment();

struct BackendChoice {
    std::optional<BackendKind> kind;
    std::string simFile;  // the simulated desktop's file, for the sim backend
    std::string error;    // why there is none, when kind is absent
};

// The choice, a pure function of the environment: TARN_SIM_DESKTOP=<file> → sim;
// TARN_DESKTOP=x11|sway|gnome|kde when the user forces one; a Wayland session
// (WAYLAND_DISPLAY set or XDG_SESSION_TYPE=wayland) → its compositor's backend (SWAYSOCK →
// sway; XDG_CURRENT_DESKTOP naming GNOME → gnome, KDE → kde), an unknown compositor being
// an error: never XWayland behind the user's back, where only X windows can be seen;
// otherwise DISPLAY → x11; otherwise an error naming what is missing.
BackendChoice chooseBackend(const Environment& environment);

class Backend {
  public:
    // Chooses once, from the environment given (the process's by default), which is kept
    // for opening what the backend serves.
    explicit Backend(Environment environment = processEnvironment());

    const BackendChoice& choice() const { return choice_; }

    // Nothing is connected before one of these is called; each opens anew.
    DesktopChoice openDesktop(DesktopOptions options = {}) const;
    // The login item is there on Linux whatever the desktop, even when keys and application
    // events are not. `loginCommand`: the program and its arguments (empty: this executable).
    AgentServices openAgentServices(std::vector<std::string> loginCommand = {}) const;
    // Browser services that need no display: on Linux the default browser lives in XDG
    // files, so a text console or an SSH login has them too. Null where they come only with
    // the desktop (the simulated desktop keeps them in its file).
    std::unique_ptr<BrowserServices> openDisplaylessBrowserServices() const;
    // The named browser's tabs where they need no display: on Linux through Tarn's browser
    // extension and its host. Null on the simulated desktop (its file has them).
    std::unique_ptr<BrowserTabs> openDisplaylessBrowserTabs(const std::string& browser) const;
    // Application icons named by the desktop's files; null where there are none.
    std::unique_ptr<AppIconNames> openAppIconNames() const;

    // What the parts a backend hands out share (on X11, the ledger through which the key
    // source knows this program's own typed keys), made once per Backend.
    struct Shared;

  private:
    Environment environment_;
    BackendChoice choice_;
    std::shared_ptr<Shared> shared_;
};

}  // namespace tarn::platform
