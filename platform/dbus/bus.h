#pragma once

// The one small D-Bus layer the desktop backends that live on the session bus (GNOME Shell,
// KWin) stand on. Values cross it as a small variant tree, so a backend writes a call as its
// signature and its arguments and reads the answer the same way; no sd-bus header appears
// outside this folder.
//
// A Bus is one connection, used from one thread at a time (sd-bus connections are not shared
// between threads): a backend that listens for signals on its own thread opens a Bus of its
// own there.

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace tarn::platform::dbus {

struct Value;
using Array = std::vector<Value>;
// An a{sv} dictionary (the D-Bus way to pass named options), keys in order.
using Dict = std::map<std::string, Value>;

// An object path, apart from a string because the wire tells them apart.
struct ObjectPath {
    std::string path;
    friend bool operator==(const ObjectPath&, const ObjectPath&) = default;
};

// A D-Bus struct: its members in order.
struct Struct {
    std::vector<Value> members;
    friend bool operator==(const Struct&, const Struct&) = default;
};

struct Value {
    using Data = std::variant<bool, std::uint8_t, std::int32_t, std::uint32_t, std::int64_t,
                              std::uint64_t, double, std::string, ObjectPath, Array, Struct, Dict>;
    Data data;

    Value() : data(false) {}
    template <typename T>
    Value(T value) : data(std::move(value)) {}
    Value(const char* text) : data(std::string(text)) {}

    template <typename T>
    const T* get() const {
        return std::get_if<T>(&data);
    }
    // Numbers of any width as the one the caller wants; absent when the value is no number.
    std::optional<std::int64_t> integer() const;
    std::optional<double> number() const;
    const std::string* text() const { return get<std::string>(); }

    friend bool operator==(const Value&, const Value&) = default;
};

// A failed call: the D-Bus error name ("org.freedesktop.DBus.Error.ServiceUnknown") and its
// message, or the local failure in words with an empty name.
struct Error {
    std::string name;
    std::string message;
    std::string describe() const { return name.empty() ? message : name + ": " + message; }
};

struct Reply {
    std::vector<Value> values;
    std::optional<Error> error;
    explicit operator bool() const { return !error; }
};

// What a call addresses.
struct Address {
    std::string destination;  // a bus name ("org.gnome.Shell")
    std::string path;         // "/org/gnome/Shell"
    std::string interface;    // "org.gnome.Shell.Extensions"
};

// An incoming method call to an object this connection serves, and how to answer it.
struct Call {
    std::string sender;
    std::string interface;
    std::string member;
    std::vector<Value> arguments;
};
struct Answer {
    std::string signature;  // of the values; "" for none
    std::vector<Value> values;
    std::optional<Error> error;  // answers with this D-Bus error instead
};

class Bus {
  public:
    // The session bus (DBUS_SESSION_BUS_ADDRESS); null with the reason when it cannot be had.
    static std::unique_ptr<Bus> session(std::string& error);
    // A bus at the given address ("unix:path=..."), for tests and private buses.
    static std::unique_ptr<Bus> at(const std::string& address, std::string& error);

    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    // This connection's unique name (":1.42"), which a peer can call back.
    std::string uniqueName() const;

    // Calls a method and waits for its answer (at most `timeoutMs`). `signature` describes
    // `arguments` ("ss", "a{sv}", "(iiii)", ...); a value that does not fit it is a local
    // error, never a malformed message.
    Reply call(const Address& to, const std::string& member, const std::string& signature,
               const std::vector<Value>& arguments, int timeoutMs = 5000);

    // Calls back `handler` with the arguments of each matching signal, from process() (so on
    // the thread that drives this connection). Empty fields match anything. The
    // subscription lasts as long as the returned handle.
    using SignalHandler =
        std::function<void(const std::string& member, const std::vector<Value>& arguments)>;
    class Subscription;
    std::unique_ptr<Subscription> onSignal(const std::string& sender, const std::string& path,
                                           const std::string& interface, const std::string& member,
                                           SignalHandler handler);

    // Serves method calls to `path` (any interface, any member): `handler` answers each,
    // from process(). Lasts as long as the returned handle.
    using MethodHandler = std::function<Answer(const Call&)>;
    std::unique_ptr<Subscription> serve(const std::string& path, MethodHandler handler);

    // Asks for a well-known name; false with the reason when another connection has it.
    bool requestName(const std::string& name, std::string& error);

    // Sends a signal from `path`.
    bool emitSignal(const std::string& path, const std::string& interface,
                    const std::string& member, const std::string& signature,
                    const std::vector<Value>& arguments, std::string& error);

    // For an event loop: the descriptor to wait on, and the dispatch of everything that has
    // arrived (signals, method calls). process() returns false when the connection is gone.
    int fd() const;
    bool process();
    // Waits up to `timeoutMs` (-1: for ever) for something to arrive and dispatches it.
    bool wait(int timeoutMs);

    struct Impl;

  private:
    explicit Bus(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

class Bus::Subscription {
  public:
    virtual ~Subscription() = default;
};

}  // namespace tarn::platform::dbus
