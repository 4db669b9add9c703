#include "platform/wayland/connection.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace tarn::platform::wayland {

std::shared_ptr<Connection> Connection::open(const std::string& display, std::string& error) {
    std::shared_ptr<Connection> connection(new Connection);
    const char* fromEnvironment = std::getenv("WAYLAND_DISPLAY");
    connection->name_ = !display.empty() ? display : fromEnvironment ? fromEnvironment : "";
    connection->display_ = wl_display_connect(display.empty() ? nullptr : display.c_str());
    if (!connection->display_) {
        error = "cannot connect to the Wayland compositor" +
                (connection->name_.empty() ? std::string() : " at " + connection->name_) + ": " +
                std::strerror(errno);
        return nullptr;
    }
    static const wl_registry_listener registryListener{onGlobal, onGlobalRemove};
    connection->registry_ = wl_display_get_registry(connection->display_);
    wl_registry_add_listener(connection->registry_, &registryListener, connection.get());
    // The globals arrive with the first round trip; the seat's capabilities with the second.
    if (!connection->roundtrip()) {
        error = "the Wayland compositor closed the connection";
        return nullptr;
    }
    if (connection->global(wl_seat_interface.name)) {
        static const wl_seat_listener seatListener{onCapabilities, onSeatName};
        connection->seat_ = static_cast<wl_seat*>(connection->bind(&wl_seat_interface, 5));
        wl_seat_add_listener(connection->seat_, &seatListener, connection.get());
        if (!connection->roundtrip()) {
            error = "the Wayland compositor closed the connection";
            return nullptr;
        }
    }
    return connection;
}

Connection::~Connection() {
    if (seat_) wl_seat_release(seat_);
    if (registry_) wl_registry_destroy(registry_);
    if (display_) {
        // Requests still queued (the last key up) reach the compositor before it sees the
        // connection close: it drops a client whose socket hung up without reading on.
        wl_display_roundtrip(display_);
        wl_display_disconnect(display_);
    }
}

void Connection::onGlobal(void* data, wl_registry*, std::uint32_t name, const char* interface,
                          std::uint32_t version) {
    static_cast<Connection*>(data)->globals_.push_back({name, interface, version});
}

void Connection::onGlobalRemove(void* data, wl_registry*, std::uint32_t name) {
    std::erase_if(static_cast<Connection*>(data)->globals_,
                  [&](const Global& global) { return global.name == name; });
}

void Connection::onCapabilities(void* data, wl_seat*, std::uint32_t capabilities) {
    static_cast<Connection*>(data)->capabilities_ = capabilities;
}

const Connection::Global* Connection::global(std::string_view interface) const {
    auto it = std::find_if(globals_.begin(), globals_.end(),
                           [&](const Global& global) { return global.interface == interface; });
    return it == globals_.end() ? nullptr : &*it;
}

void* Connection::bind(const wl_interface* interface, std::uint32_t version) {
    const Global* offered = global(interface->name);
    if (!offered) return nullptr;
    return wl_registry_bind(
        registry_, offered->name, interface,
        std::min({version, offered->version, static_cast<std::uint32_t>(interface->version)}));
}

bool Connection::roundtrip() {
    return wl_display_roundtrip(display_) >= 0;
}

bool Connection::flush() {
    // A full socket buffer is not an error: the rest goes with the next flush.
    return wl_display_flush(display_) >= 0 || errno == EAGAIN;
}

bool Connection::lost() const {
    return wl_display_get_error(display_) != 0;
}

Connected connect(const std::string& display) {
    Connected result;
    result.connection = Connection::open(display, result.error);
    return result;
}

}  // namespace tarn::platform::wayland
