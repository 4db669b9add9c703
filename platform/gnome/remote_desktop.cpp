#include "platform/gnome/remote_desktop.h"

#include <chrono>
#include <thread>

namespace tarn::platform::gnome {
namespace {

constexpr const char* kService = "org.gnome.Mutter.RemoteDesktop";
constexpr const char* kSessionInterface = "org.gnome.Mutter.RemoteDesktop.Session";
constexpr std::uint32_t kShiftL = 0xffe1;

}  // namespace

RemoteDesktop::~RemoteDesktop() {
    if (!session_.empty()) bus_.call({kService, session_, kSessionInterface}, "Stop", "", {}, 1000);
}

bool RemoteDesktop::ready(std::string& error) {
    if (!session_.empty()) return true;
    if (!error_.empty()) {
        error = error_;
        return false;
    }
    auto created =
        bus_.call({kService, "/org/gnome/Mutter/RemoteDesktop", kService}, "CreateSession", "", {});
    const dbus::ObjectPath* path = created && !created.values.empty()
                                       ? created.values.front().get<dbus::ObjectPath>()
                                       : nullptr;
    if (!path) {
        error_ = "GNOME's remote desktop service refused a session for keys (" +
                 (created.error ? created.error->describe() : std::string("no session")) + ")";
        error = error_;
        return false;
    }
    auto started = bus_.call({kService, path->path, kSessionInterface}, "Start", "", {});
    if (!started) {
        error_ = "GNOME's remote desktop session did not start (" + started.error->describe() + ")";
        error = error_;
        return false;
    }
    session_ = path->path;
    // Mutter makes the session's virtual keyboard after Start has answered, and keys sent
    // before it is there are lost: a Shift tap goes first, and the keys wait for it to land.
    keysym(kShiftL, true);
    keysym(kShiftL, false);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    return true;
}

bool RemoteDesktop::keysym(std::uint32_t keysym, bool down) {
    std::string error;
    if (session_.empty() && !ready(error)) return false;
    return bool(bus_.call({kService, session_, kSessionInterface}, "NotifyKeyboardKeysym", "ub",
                          {dbus::Value(keysym), dbus::Value(down)}));
}

}  // namespace tarn::platform::gnome
