#pragma once

#include <optional>
#include <vector>

#include "platform/displays.h"
#include "platform/x11/connection.h"

namespace tarn::platform::x11 {

// Displays are the server's RandR monitors (the active ones), the primary monitor first and
// the others in the server's order; a display's id is its monitor's name atom. A server
// without RandR monitors has one display: the root window.
class DisplaysX11 final : public Displays {
  public:
    explicit DisplaysX11(Connection& connection) : x_(connection) {}

    std::vector<DisplayId> activeDisplays() override;
    Rect bounds(DisplayId display) override;
    DisplayId mainDisplay() override;
    void forget() override { cached_.reset(); }

  private:
    struct Monitor {
        DisplayId id = 0;
        Rect bounds;
    };
    // One operation reads the list once: every rule of a move asks for displays several
    // times, and each read is two round trips. RandR sends no event for a monitor changed
    // with --setmonitor, so the list is only kept until forget(), never across operations.
    const std::vector<Monitor>& monitors();
    std::vector<Monitor> readMonitors();

    Connection& x_;
    std::optional<std::vector<Monitor>> cached_;
};

}  // namespace tarn::platform::x11
