#pragma once

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

  private:
    struct Monitor {
        DisplayId id = 0;
        Rect bounds;
    };
    std::vector<Monitor> monitors();

    Connection& x_;
};

}  // namespace tarn::platform::x11
