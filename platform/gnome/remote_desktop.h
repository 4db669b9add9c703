#pragma once

// Keys through Mutter's RemoteDesktop service: the one way GNOME's Wayland session takes
// input from another program. A session belongs to the D-Bus connection that created it and
// ends with it, so a RemoteDesktop lives on one Bus for its whole life and is used from that
// Bus's thread only.

#include <cstdint>
#include <string>

#include "platform/dbus/bus.h"

namespace tarn::platform::gnome {

class RemoteDesktop {
  public:
    explicit RemoteDesktop(dbus::Bus& bus) : bus_(bus) {}
    ~RemoteDesktop();
    RemoteDesktop(const RemoteDesktop&) = delete;
    RemoteDesktop& operator=(const RemoteDesktop&) = delete;

    // Creates and starts the session at the first use; false with the reason when Mutter
    // refuses.
    bool ready(std::string& error);
    // A key symbol down or up; Mutter finds the key for it on the current keymap.
    bool keysym(std::uint32_t keysym, bool down);

  private:
    dbus::Bus& bus_;
    std::string session_;  // the session's object path, once started
    std::string error_;    // why it could not start, once that was found
};

}  // namespace tarn::platform::gnome
