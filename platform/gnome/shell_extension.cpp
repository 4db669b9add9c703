#include "platform/gnome/shell_extension.h"

#include <cmath>

#include "platform/gnome/extension_version.h"

namespace tarn::platform::gnome {
namespace {

using dbus::Reply;
using dbus::Struct;
using dbus::Value;

std::int64_t integerOf(const std::vector<Value>& members, std::size_t at) {
    return at < members.size() ? members[at].integer().value_or(0) : 0;
}

std::string textOf(const std::vector<Value>& members, std::size_t at) {
    const std::string* text = at < members.size() ? members[at].text() : nullptr;
    return text ? *text : std::string();
}

bool flagOf(const std::vector<Value>& members, std::size_t at) {
    const bool* flag = at < members.size() ? members[at].get<bool>() : nullptr;
    return flag && *flag;
}

// A rectangle sent as four int32s, (x, y, width, height), starting at `at`.
Rect rectOf(const std::vector<Value>& members, std::size_t at) {
    return {static_cast<double>(integerOf(members, at)),
            static_cast<double>(integerOf(members, at + 1)),
            static_cast<double>(integerOf(members, at + 2)),
            static_cast<double>(integerOf(members, at + 3))};
}

const std::vector<Value>* membersOf(const Value& value) {
    const Struct* s = value.get<Struct>();
    return s ? &s->members : nullptr;
}

const std::vector<Value>* firstMembers(const Reply& reply) {
    return reply && !reply.values.empty() ? membersOf(reply.values.front()) : nullptr;
}

const dbus::Array* firstArray(const Reply& reply) {
    return reply && !reply.values.empty() ? reply.values.front().get<dbus::Array>() : nullptr;
}

std::optional<ShellWindow> windowOf(const std::vector<Value>& m, bool full) {
    ShellWindow window;
    window.id = static_cast<std::uint64_t>(integerOf(m, 0));
    window.pid = integerOf(m, 1);
    window.appId = textOf(m, 2);
    window.appName = textOf(m, 3);
    window.title = textOf(m, 4);
    if (full) {
        window.minimized = flagOf(m, 5);
        if (m.size() > 6) {
            if (const auto* frame = membersOf(m[6])) window.frame = rectOf(*frame, 0);
        }
    }
    if (window.id == 0) return std::nullopt;
    return window;
}

std::int32_t clampToInt32(double value) {
    const double rounded = std::round(value);
    if (!(rounded > -2147483648.0)) return INT32_MIN;  // NaN too
    if (rounded > 2147483647.0) return INT32_MAX;
    return static_cast<std::int32_t>(rounded);
}

}  // namespace

std::uint32_t interfaceVersion() {
    return kExtensionInterfaceVersion;
}

const dbus::Address& ShellExtension::address() {
    static const dbus::Address kAddress{"org.tarn.Shell", "/org/tarn/Shell", "org.tarn.Shell1"};
    return kAddress;
}

Reply ShellExtension::call(const std::string& member, const std::string& signature,
                           const std::vector<Value>& arguments) {
    Reply reply = bus_.call(address(), member, signature, arguments);
    if (reply.error) lastError_ = member + ": " + reply.error->describe();
    return reply;
}

std::string ShellExtension::check() {
    Reply reply = call("GetVersion", "", {});
    if (!reply) {
        const std::string& name = reply.error->name;
        // An extension from before the version check has the interface but not this method.
        if (name == "org.freedesktop.DBus.Error.UnknownMethod") {
            return "Tarn's GNOME Shell extension is older than this tarn: " +
                   std::string(kInstallHint);
        }
        return "Tarn's GNOME Shell extension is not running (is it installed and enabled?): " +
               std::string(kInstallHint);
    }
    const auto version = reply.values.empty() ? std::nullopt : reply.values.front().integer();
    if (version != static_cast<std::int64_t>(interfaceVersion())) {
        return "Tarn's GNOME Shell extension speaks version " +
               (version ? std::to_string(*version) : std::string("?")) + " of its interface, " +
               "this tarn needs version " + std::to_string(interfaceVersion()) + ": " +
               kInstallHint;
    }
    return "";
}

std::optional<ShellWindow> ShellExtension::focusedWindow() {
    Reply reply = call("FocusedWindow", "", {});
    const auto* m = firstMembers(reply);
    if (!m) return std::nullopt;
    return windowOf(*m, false);
}

std::optional<std::vector<ShellWindow>> ShellExtension::windows(Pid pid) {
    Reply reply = call("Windows", "x", {Value(std::int64_t{pid})});
    const auto* list = firstArray(reply);
    if (!list) return std::nullopt;
    std::vector<ShellWindow> found;
    for (const Value& entry : *list) {
        if (const auto* m = membersOf(entry)) {
            if (auto window = windowOf(*m, true)) found.push_back(std::move(*window));
        }
    }
    return found;
}

std::optional<std::vector<ShellApp>> ShellExtension::apps() {
    Reply reply = call("Apps", "", {});
    const auto* list = firstArray(reply);
    if (!list) return std::nullopt;
    std::vector<ShellApp> found;
    for (const Value& entry : *list) {
        if (const auto* m = membersOf(entry)) {
            found.push_back({integerOf(*m, 0), textOf(*m, 1), textOf(*m, 2)});
        }
    }
    return found;
}

std::optional<Rect> ShellExtension::frame(std::uint64_t window) {
    Reply reply = call("Frame", "t", {Value(window)});
    const auto* m = firstMembers(reply);
    if (!m) return std::nullopt;
    return rectOf(*m, 0);
}

bool ShellExtension::place(std::uint64_t window, Rect frame) {
    return bool(call("Place", "tiiii",
                     {Value(window), Value(clampToInt32(frame.x)), Value(clampToInt32(frame.y)),
                      Value(clampToInt32(frame.width)), Value(clampToInt32(frame.height))}));
}

std::optional<bool> ShellExtension::isMinimized(std::uint64_t window) {
    Reply reply = call("IsMinimized", "t", {Value(window)});
    if (!reply || reply.values.empty()) return std::nullopt;
    const bool* flag = reply.values.front().get<bool>();
    if (!flag) return std::nullopt;
    return *flag;
}

bool ShellExtension::setMinimized(std::uint64_t window, bool minimized) {
    return bool(call("SetMinimized", "tb", {Value(window), Value(minimized)}));
}

bool ShellExtension::activate(std::uint64_t window) {
    return bool(call("Activate", "t", {Value(window)}));
}

std::vector<ShellMonitor> ShellExtension::monitors() {
    std::vector<ShellMonitor> found;
    Reply reply = call("Monitors", "", {});
    const auto* list = firstArray(reply);
    if (!list) return found;
    for (const Value& entry : *list) {
        if (const auto* m = membersOf(entry)) {
            found.push_back({rectOf(*m, 0), rectOf(*m, 4), flagOf(*m, 8)});
        }
    }
    return found;
}

ShellGrab ShellExtension::grab(const std::string& accelerator) {
    Reply reply = call("GrabAccelerator", "s", {Value(accelerator)});
    ShellGrab result;
    if (!reply) {
        result.taken = reply.error->name == "org.tarn.Shell1.Error.Taken";
        result.error = reply.error->message;
        return result;
    }
    if (auto action = reply.values.empty() ? std::nullopt : reply.values.front().integer()) {
        result.action = static_cast<std::uint32_t>(*action);
    }
    return result;
}

bool ShellExtension::release(std::uint32_t action) {
    return bool(call("ReleaseAccelerator", "u", {Value(action)}));
}

bool ShellExtension::releaseAll() {
    return bool(call("ReleaseAllAccelerators", "", {}));
}

std::optional<std::string> ShellExtension::clipboard() {
    Reply reply = call("GetClipboard", "", {});
    const auto* m = firstMembers(reply);
    if (!m || !flagOf(*m, 0)) return std::nullopt;
    return textOf(*m, 1);
}

bool ShellExtension::setClipboard(const std::string& text) {
    return bool(call("SetClipboard", "s", {Value(text)}));
}

std::optional<Point> ShellExtension::pointer() {
    Reply reply = call("GetPointer", "", {});
    const auto* m = firstMembers(reply);
    if (!m) return std::nullopt;
    return Point{static_cast<double>(integerOf(*m, 0)), static_cast<double>(integerOf(*m, 1))};
}

std::optional<bool> ShellExtension::modifiersHeld() {
    Reply reply = call("HeldModifiers", "", {});
    if (!reply || reply.values.empty()) return std::nullopt;
    auto mask = reply.values.front().integer();
    if (!mask) return std::nullopt;
    return *mask != 0;
}

bool ShellExtension::warpPointer(Point to) {
    return bool(call("WarpPointer", "ii", {Value(clampToInt32(to.x)), Value(clampToInt32(to.y))}));
}

}  // namespace tarn::platform::gnome
