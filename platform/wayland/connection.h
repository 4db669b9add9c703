#pragma once

// The connection to the compositor, for the Wayland backends themselves (platform/sway,
// platform/gnome, platform/kde and the shared parts here): the wl_display, the globals its
// registry announced, binding them, the seat. Nothing outside platform/ includes this.

#include <wayland-client.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/wayland/wayland.h"

namespace tarn::platform::wayland {

// A proxy owned by its holder, destroyed with its interface's destructor request.
template <class T, void (*Destroy)(T*)>
struct ProxyDeleter {
    void operator()(T* proxy) const {
        if (proxy) Destroy(proxy);
    }
};
template <class T, void (*Destroy)(T*)>
using Owned = std::unique_ptr<T, ProxyDeleter<T, Destroy>>;

class Connection {
  public:
    struct Global {
        std::uint32_t name = 0;
        std::string interface;
        std::uint32_t version = 0;
    };

    // Connects (an empty name: WAYLAND_DISPLAY, else the compositor's default) and reads
    // the registry's globals and the first seat's capabilities; null, with the reason, when
    // no compositor answers.
    static std::shared_ptr<Connection> open(const std::string& display, std::string& error);
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    wl_display* display() const { return display_; }
    // The name it connected to, for a process or thread that opens a connection of its own.
    const std::string& name() const { return name_; }

    // The first global of the interface; null when the compositor offers none.
    const Global* global(std::string_view interface) const;
    // Binds that global at the lower of `version` and the version offered; null when it is
    // not offered. The proxy is the caller's.
    void* bind(const wl_interface* interface, std::uint32_t version);

    // The first seat (bound once, the connection's), null without one; and whether it has a
    // keyboard or a pointer now, as of the last event read.
    wl_seat* seat() const { return seat_; }
    bool seatHasKeyboard() const { return capabilities_ & WL_SEAT_CAPABILITY_KEYBOARD; }
    bool seatHasPointer() const { return capabilities_ & WL_SEAT_CAPABILITY_POINTER; }

    // Sends what is queued and waits until the compositor has handled it, dispatching the
    // events that came meanwhile. False once the connection is broken.
    bool roundtrip();
    // Sends what is queued without waiting. False once the connection is broken.
    bool flush();
    // Whether the connection is broken (a protocol error, or the compositor went away).
    bool lost() const;

  private:
    Connection() = default;
    static void onGlobal(void* data, wl_registry*, std::uint32_t name, const char* interface,
                         std::uint32_t version);
    static void onGlobalRemove(void* data, wl_registry*, std::uint32_t name);
    static void onCapabilities(void* data, wl_seat*, std::uint32_t capabilities);
    static void onSeatName(void*, wl_seat*, const char*) {}

    wl_display* display_ = nullptr;
    std::string name_;
    wl_registry* registry_ = nullptr;
    std::vector<Global> globals_;
    wl_seat* seat_ = nullptr;
    std::uint32_t capabilities_ = 0;
};

}  // namespace tarn::platform::wayland
