#include "platform/dbus/bus.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>
#include <limits>

namespace tarn::platform::dbus {
namespace {

// D-Bus forbids deeper nesting than 64 levels of containers (32 arrays and 32 structs); a
// value tree deeper than that is refused before it reaches the wire.
constexpr int kMaxDepth = 64;

struct MessageFree {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using MessagePtr = std::unique_ptr<sd_bus_message, MessageFree>;

struct ErrorFree {
    sd_bus_error error = SD_BUS_ERROR_NULL;
    ~ErrorFree() { sd_bus_error_free(&error); }
};

std::string errnoText(int negativeErrno) {
    return std::strerror(-negativeErrno);
}

// The end of the one complete type that starts at `at` in `signature`; npos when it is not
// one.
std::size_t typeEnd(const std::string& signature, std::size_t at) {
    if (at >= signature.size()) return std::string::npos;
    switch (signature[at]) {
        case 'a':
            return typeEnd(signature, at + 1);
        case '(':
        case '{': {
            const char close = signature[at] == '(' ? ')' : '}';
            std::size_t next = at + 1;
            while (next < signature.size() && signature[next] != close) {
                next = typeEnd(signature, next);
                if (next == std::string::npos) return next;
            }
            return next < signature.size() ? next + 1 : std::string::npos;
        }
        default:
            return std::strchr("bynqiuxtdsogvh", signature[at]) ? at + 1 : std::string::npos;
    }
}

// The signature a value carries itself, for variants.
std::string signatureOf(const Value& value) {
    struct Of {
        std::string operator()(bool) const { return "b"; }
        std::string operator()(std::uint8_t) const { return "y"; }
        std::string operator()(std::int32_t) const { return "i"; }
        std::string operator()(std::uint32_t) const { return "u"; }
        std::string operator()(std::int64_t) const { return "x"; }
        std::string operator()(std::uint64_t) const { return "t"; }
        std::string operator()(double) const { return "d"; }
        std::string operator()(const std::string&) const { return "s"; }
        std::string operator()(const ObjectPath&) const { return "o"; }
        std::string operator()(const Array& array) const {
            return array.empty() ? "av" : "a" + signatureOf(array.front());
        }
        std::string operator()(const Struct& record) const {
            std::string inside;
            for (const Value& member : record.members) inside += signatureOf(member);
            return "(" + inside + ")";
        }
        std::string operator()(const Dict&) const { return "a{sv}"; }
    };
    return std::visit(Of{}, value.data);
}

class Writer {
  public:
    explicit Writer(sd_bus_message* message) : message_(message) {}

    // Appends the values as the signature says; the first failure, in words, or "".
    std::string append(const std::string& signature, const std::vector<Value>& values) {
        std::size_t at = 0;
        for (const Value& value : values) {
            std::size_t end = typeEnd(signature, at);
            if (end == std::string::npos)
                return "more values than the signature \"" + signature + "\" takes";
            if (auto problem = one(signature.substr(at, end - at), value, 0); !problem.empty())
                return problem;
            at = end;
        }
        if (at != signature.size())
            return "fewer values than the signature \"" + signature + "\" takes";
        return "";
    }

  private:
    std::string one(const std::string& type, const Value& value, int depth) {
        if (depth > kMaxDepth) return "a value nested too deep";
        const char code = type[0];
        int r = 0;
        switch (code) {
            case 'b': {
                if (!value.get<bool>()) return mismatch(type);
                int flag = *value.get<bool>() ? 1 : 0;
                r = sd_bus_message_append_basic(message_, 'b', &flag);
                break;
            }
            case 'y':
            case 'n':
            case 'q':
            case 'i':
            case 'u':
            case 'x':
            case 't':
                r = integer(code, value);
                if (r == 1) return mismatch(type);
                break;
            case 'd': {
                auto number = value.number();
                if (!number) return mismatch(type);
                r = sd_bus_message_append_basic(message_, 'd', &*number);
                break;
            }
            case 's':
            case 'g':
                if (!value.text()) return mismatch(type);
                r = sd_bus_message_append_basic(message_, code, value.text()->c_str());
                break;
            case 'o': {
                const ObjectPath* path = value.get<ObjectPath>();
                const std::string* text = path ? &path->path : value.text();
                if (!text) return mismatch(type);
                r = sd_bus_message_append_basic(message_, 'o', text->c_str());
                break;
            }
            case 'v': {
                const std::string inner = signatureOf(value);
                if ((r = sd_bus_message_open_container(message_, 'v', inner.c_str())) < 0) break;
                if (auto problem = one(inner, value, depth + 1); !problem.empty()) return problem;
                r = sd_bus_message_close_container(message_);
                break;
            }
            case 'a':
                return array(type, value, depth);
            case '(': {
                const Struct* record = value.get<Struct>();
                if (!record) return mismatch(type);
                const std::string inside = type.substr(1, type.size() - 2);
                if ((r = sd_bus_message_open_container(message_, 'r', inside.c_str())) < 0) break;
                std::size_t at = 0;
                for (const Value& member : record->members) {
                    std::size_t end = typeEnd(inside, at);
                    if (end == std::string::npos) return mismatch(type);
                    if (auto problem = one(inside.substr(at, end - at), member, depth + 1);
                        !problem.empty())
                        return problem;
                    at = end;
                }
                if (at != inside.size()) return mismatch(type);
                r = sd_bus_message_close_container(message_);
                break;
            }
            default:
                return "the type '" + type + "' is not one this layer writes";
        }
        return r < 0 ? "could not write a '" + type + "': " + errnoText(r) : "";
    }

    // 1 when the value is no number or does not fit the type.
    int integer(char code, const Value& value) {
        auto number = value.integer();
        if (!number && value.get<std::uint64_t>() && code == 't') {
            std::uint64_t big = *value.get<std::uint64_t>();
            return sd_bus_message_append_basic(message_, 't', &big);
        }
        if (!number) return 1;
        const std::int64_t n = *number;
        auto within = [n](std::int64_t low, std::int64_t high) { return n >= low && n <= high; };
        switch (code) {
            case 'y': {
                if (!within(0, 255)) return 1;
                std::uint8_t v = static_cast<std::uint8_t>(n);
                return sd_bus_message_append_basic(message_, code, &v);
            }
            case 'n': {
                if (!within(-32768, 32767)) return 1;
                std::int16_t v = static_cast<std::int16_t>(n);
                return sd_bus_message_append_basic(message_, code, &v);
            }
            case 'q': {
                if (!within(0, 65535)) return 1;
                std::uint16_t v = static_cast<std::uint16_t>(n);
                return sd_bus_message_append_basic(message_, code, &v);
            }
            case 'i': {
                if (!within(std::numeric_limits<std::int32_t>::min(),
                            std::numeric_limits<std::int32_t>::max()))
                    return 1;
                std::int32_t v = static_cast<std::int32_t>(n);
                return sd_bus_message_append_basic(message_, code, &v);
            }
            case 'u': {
                if (!within(0, std::numeric_limits<std::uint32_t>::max())) return 1;
                std::uint32_t v = static_cast<std::uint32_t>(n);
                return sd_bus_message_append_basic(message_, code, &v);
            }
            case 'x':
                return sd_bus_message_append_basic(message_, code, &n);
            default: {
                if (n < 0) return 1;
                std::uint64_t v = static_cast<std::uint64_t>(n);
                return sd_bus_message_append_basic(message_, code, &v);
            }
        }
    }

    std::string array(const std::string& type, const Value& value, int depth) {
        const std::string element = type.substr(1);
        int r = 0;
        if (element[0] == '{') {
            // Dictionaries with text keys: a{sv}, a{ss}, ...
            const Dict* dict = value.get<Dict>();
            if (!dict || element[1] != 's') return mismatch(type);
            const std::string entry = element.substr(1, element.size() - 2);
            const std::string valueType = entry.substr(1);
            if ((r = sd_bus_message_open_container(message_, 'a', element.c_str())) < 0)
                return failed(type, r);
            for (const auto& [key, item] : *dict) {
                if ((r = sd_bus_message_open_container(message_, 'e', entry.c_str())) < 0 ||
                    (r = sd_bus_message_append_basic(message_, 's', key.c_str())) < 0)
                    return failed(type, r);
                if (auto problem = one(valueType, item, depth + 1); !problem.empty())
                    return problem;
                if ((r = sd_bus_message_close_container(message_)) < 0) return failed(type, r);
            }
        } else {
            const Array* items = value.get<Array>();
            if (!items) return mismatch(type);
            if ((r = sd_bus_message_open_container(message_, 'a', element.c_str())) < 0)
                return failed(type, r);
            for (const Value& item : *items) {
                if (auto problem = one(element, item, depth + 1); !problem.empty()) return problem;
            }
        }
        r = sd_bus_message_close_container(message_);
        return r < 0 ? failed(type, r) : "";
    }

    static std::string mismatch(const std::string& type) {
        return "a value does not fit the type '" + type + "'";
    }
    static std::string failed(const std::string& type, int r) {
        return "could not write a '" + type + "': " + errnoText(r);
    }

    sd_bus_message* message_;
};

class Reader {
  public:
    explicit Reader(sd_bus_message* message) : message_(message) {}

    // Every value left at this level; false when the message does not read.
    bool all(std::vector<Value>& out, int depth = 0) {
        for (;;) {
            char type = 0;
            const char* contents = nullptr;
            int r = sd_bus_message_peek_type(message_, &type, &contents);
            if (r < 0) return false;
            if (r == 0) return true;
            Value value;
            if (!one(type, contents, value, depth)) return false;
            out.push_back(std::move(value));
        }
    }

  private:
    template <typename T>
    bool basic(char type, Value& out) {
        T raw{};
        if (sd_bus_message_read_basic(message_, type, &raw) < 0) return false;
        out = Value(raw);
        return true;
    }

    bool one(char type, const char* contents, Value& out, int depth) {
        if (depth > kMaxDepth) return false;
        switch (type) {
            case 'b': {
                int raw = 0;
                if (sd_bus_message_read_basic(message_, 'b', &raw) < 0) return false;
                out = Value(raw != 0);
                return true;
            }
            case 'y':
                return basic<std::uint8_t>(type, out);
            case 'n': {
                std::int16_t raw = 0;
                if (sd_bus_message_read_basic(message_, type, &raw) < 0) return false;
                out = Value(static_cast<std::int32_t>(raw));
                return true;
            }
            case 'q': {
                std::uint16_t raw = 0;
                if (sd_bus_message_read_basic(message_, type, &raw) < 0) return false;
                out = Value(static_cast<std::uint32_t>(raw));
                return true;
            }
            case 'i':
                return basic<std::int32_t>(type, out);
            case 'u':
            case 'h':
                return basic<std::uint32_t>(type, out);
            case 'x':
                return basic<std::int64_t>(type, out);
            case 't':
                return basic<std::uint64_t>(type, out);
            case 'd':
                return basic<double>(type, out);
            case 's':
            case 'g':
            case 'o': {
                const char* text = nullptr;
                if (sd_bus_message_read_basic(message_, type, &text) < 0) return false;
                if (type == 'o') {
                    out = Value(ObjectPath{text ? text : ""});
                } else {
                    out = Value(std::string(text ? text : ""));
                }
                return true;
            }
            case 'v': {
                if (sd_bus_message_enter_container(message_, 'v', contents) < 0) return false;
                std::vector<Value> inner;
                if (!all(inner, depth + 1) || inner.size() != 1) return false;
                out = std::move(inner.front());
                return sd_bus_message_exit_container(message_) >= 0;
            }
            case 'r': {
                if (sd_bus_message_enter_container(message_, 'r', contents) < 0) return false;
                Struct record;
                if (!all(record.members, depth + 1)) return false;
                out = Value(std::move(record));
                return sd_bus_message_exit_container(message_) >= 0;
            }
            case 'a':
                return array(contents, out, depth);
            default:
                return false;
        }
    }

    bool array(const char* contents, Value& out, int depth) {
        if (sd_bus_message_enter_container(message_, 'a', contents) < 0) return false;
        const std::string element = contents ? contents : "";
        if (element.size() > 1 && element[0] == '{' && element[1] == 's') {
            Dict dict;
            const std::string entry = element.substr(1, element.size() - 2);
            for (;;) {
                int r = sd_bus_message_enter_container(message_, 'e', entry.c_str());
                if (r < 0) return false;
                if (r == 0) break;
                std::vector<Value> pair;
                if (!all(pair, depth + 1) || pair.size() != 2 || !pair[0].text()) return false;
                dict[*pair[0].text()] = std::move(pair[1]);
                if (sd_bus_message_exit_container(message_) < 0) return false;
            }
            out = Value(std::move(dict));
        } else if (!element.empty() && element[0] == '{') {
            // Dictionaries with other keys come as a list of (key, value) structs.
            Array entries;
            const std::string entry = element.substr(1, element.size() - 2);
            for (;;) {
                int r = sd_bus_message_enter_container(message_, 'e', entry.c_str());
                if (r < 0) return false;
                if (r == 0) break;
                Struct pair;
                if (!all(pair.members, depth + 1)) return false;
                entries.push_back(Value(std::move(pair)));
                if (sd_bus_message_exit_container(message_) < 0) return false;
            }
            out = Value(std::move(entries));
        } else {
            Array items;
            if (!all(items, depth + 1)) return false;
            out = Value(std::move(items));
        }
        return sd_bus_message_exit_container(message_) >= 0;
    }

    sd_bus_message* message_;
};

// The arguments of an incoming message; false when they do not read.
bool readArguments(sd_bus_message* message, std::vector<Value>& out) {
    return Reader(message).all(out);
}

const char* orNull(const std::string& text) {
    return text.empty() ? nullptr : text.c_str();
}

}  // namespace

std::optional<std::int64_t> Value::integer() const {
    if (const auto* v = get<std::uint8_t>()) return *v;
    if (const auto* v = get<std::int32_t>()) return *v;
    if (const auto* v = get<std::uint32_t>()) return *v;
    if (const auto* v = get<std::int64_t>()) return *v;
    if (const auto* v = get<std::uint64_t>()) {
        if (*v <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max()))
            return static_cast<std::int64_t>(*v);
    }
    return std::nullopt;
}

std::optional<double> Value::number() const {
    if (const double* d = get<double>()) return *d;
    if (const std::uint64_t* big = get<std::uint64_t>()) return static_cast<double>(*big);
    if (auto whole = integer()) return static_cast<double>(*whole);
    return std::nullopt;
}

struct Bus::Impl {
    sd_bus* bus = nullptr;
    ~Impl() {
        if (bus) sd_bus_flush_close_unref(bus);
    }
};

namespace {

class Slot : public Bus::Subscription {
  public:
    template <typename Handler>
    explicit Slot(Handler handler) : handler_(std::make_unique<Handler>(std::move(handler))) {}
    ~Slot() override { sd_bus_slot_unref(slot_); }
    sd_bus_slot** slot() { return &slot_; }
    void* userdata() { return handler_.get(); }

  private:
    sd_bus_slot* slot_ = nullptr;
    std::shared_ptr<void> handler_;
};

int onSignalMessage(sd_bus_message* message, void* userdata, sd_bus_error*) {
    auto& handler = *static_cast<Bus::SignalHandler*>(userdata);
    std::vector<Value> arguments;
    if (!readArguments(message, arguments)) return 0;  // a signal that does not read is dropped
    const char* member = sd_bus_message_get_member(message);
    handler(member ? member : "", arguments);
    return 0;
}

int onMethodMessage(sd_bus_message* message, void* userdata, sd_bus_error* error) {
    if (sd_bus_message_is_method_call(message, nullptr, nullptr) <= 0) return 0;
    const char* interface = sd_bus_message_get_interface(message);
    // The bus's own interfaces (introspection, ping) are sd-bus's to answer.
    if (interface && std::strncmp(interface, "org.freedesktop.DBus.", 21) == 0) return 0;
    auto& handler = *static_cast<Bus::MethodHandler*>(userdata);
    Call call;
    const char* sender = sd_bus_message_get_sender(message);
    const char* member = sd_bus_message_get_member(message);
    call.sender = sender ? sender : "";
    call.interface = interface ? interface : "";
    call.member = member ? member : "";
    if (!readArguments(message, call.arguments)) {
        return sd_bus_error_set(error, SD_BUS_ERROR_INVALID_ARGS, "The arguments do not read");
    }
    Answer answer = handler(call);
    if (answer.error) {
        return sd_bus_error_set(
            error, answer.error->name.empty() ? SD_BUS_ERROR_FAILED : answer.error->name.c_str(),
            answer.error->message.c_str());
    }
    sd_bus_message* raw = nullptr;
    if (sd_bus_message_new_method_return(message, &raw) < 0) return -ENOMEM;
    MessagePtr reply(raw);
    if (auto problem = Writer(reply.get()).append(answer.signature, answer.values);
        !problem.empty()) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, problem.c_str());
    }
    int r = sd_bus_send(sd_bus_message_get_bus(message), reply.get(), nullptr);
    return r < 0 ? r : 1;
}

}  // namespace

Bus::Bus(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
Bus::~Bus() = default;

std::unique_ptr<Bus> Bus::session(std::string& error) {
    auto impl = std::make_unique<Impl>();
    if (int r = sd_bus_open_user(&impl->bus); r < 0) {
        impl->bus = nullptr;
        error = "cannot connect to the session bus: " + errnoText(r);
        return nullptr;
    }
    return std::unique_ptr<Bus>(new Bus(std::move(impl)));
}

std::unique_ptr<Bus> Bus::at(const std::string& address, std::string& error) {
    auto impl = std::make_unique<Impl>();
    int r = sd_bus_new(&impl->bus);
    if (r >= 0) r = sd_bus_set_address(impl->bus, address.c_str());
    if (r >= 0) r = sd_bus_set_bus_client(impl->bus, 1);
    if (r >= 0) r = sd_bus_start(impl->bus);
    if (r < 0) {
        error = "cannot connect to the bus at " + address + ": " + errnoText(r);
        return nullptr;
    }
    return std::unique_ptr<Bus>(new Bus(std::move(impl)));
}

std::string Bus::uniqueName() const {
    const char* name = nullptr;
    if (sd_bus_get_unique_name(impl_->bus, &name) < 0 || !name) return "";
    return name;
}

Reply Bus::call(const Address& to, const std::string& member, const std::string& signature,
                const std::vector<Value>& arguments, int timeoutMs) {
    Reply reply;
    sd_bus_message* raw = nullptr;
    int r = sd_bus_message_new_method_call(impl_->bus, &raw, to.destination.c_str(),
                                           to.path.c_str(), orNull(to.interface), member.c_str());
    if (r < 0) {
        reply.error = Error{{}, "cannot make a call of " + member + ": " + errnoText(r)};
        return reply;
    }
    MessagePtr message(raw);
    if (auto problem = Writer(message.get()).append(signature, arguments); !problem.empty()) {
        reply.error = Error{{}, "cannot call " + member + ": " + problem};
        return reply;
    }
    ErrorFree error;
    sd_bus_message* answerRaw = nullptr;
    r = sd_bus_call(impl_->bus, message.get(),
                    static_cast<std::uint64_t>(timeoutMs < 0 ? 0 : timeoutMs) * 1000, &error.error,
                    &answerRaw);
    MessagePtr answer(answerRaw);
    if (r < 0) {
        if (sd_bus_error_is_set(&error.error)) {
            reply.error = Error{error.error.name ? error.error.name : "",
                                error.error.message ? error.error.message : ""};
        } else {
            reply.error = Error{{}, member + " failed: " + errnoText(r)};
        }
        return reply;
    }
    if (!readArguments(answer.get(), reply.values)) {
        reply.values.clear();
        reply.error = Error{{}, "the answer to " + member + " does not read"};
    }
    return reply;
}

std::unique_ptr<Bus::Subscription> Bus::onSignal(const std::string& sender, const std::string& path,
                                                 const std::string& interface,
                                                 const std::string& member, SignalHandler handler) {
    auto slot = std::make_unique<Slot>(std::move(handler));
    int r =
        sd_bus_match_signal(impl_->bus, slot->slot(), orNull(sender), orNull(path),
                            orNull(interface), orNull(member), onSignalMessage, slot->userdata());
    if (r < 0) return nullptr;
    return slot;
}

std::unique_ptr<Bus::Subscription> Bus::serve(const std::string& path, MethodHandler handler) {
    auto slot = std::make_unique<Slot>(std::move(handler));
    int r = sd_bus_add_object(impl_->bus, slot->slot(), path.c_str(), onMethodMessage,
                              slot->userdata());
    if (r < 0) return nullptr;
    return slot;
}

bool Bus::requestName(const std::string& name, std::string& error) {
    int r = sd_bus_request_name(impl_->bus, name.c_str(), 0);
    if (r < 0) {
        error = r == -EEXIST ? "another program has the name " + name
                             : "cannot have the name " + name + ": " + errnoText(r);
        return false;
    }
    return true;
}

bool Bus::emitSignal(const std::string& path, const std::string& interface,
                     const std::string& member, const std::string& signature,
                     const std::vector<Value>& arguments, std::string& error) {
    sd_bus_message* raw = nullptr;
    int r = sd_bus_message_new_signal(impl_->bus, &raw, path.c_str(), interface.c_str(),
                                      member.c_str());
    if (r < 0) {
        error = "cannot make the signal " + member + ": " + errnoText(r);
        return false;
    }
    MessagePtr message(raw);
    if (auto problem = Writer(message.get()).append(signature, arguments); !problem.empty()) {
        error = "cannot send the signal " + member + ": " + problem;
        return false;
    }
    // Flushed at once: a connection that only emits is never processed by anyone, and its
    // signal would wait in the queue for ever.
    if ((r = sd_bus_send(impl_->bus, message.get(), nullptr)) < 0 ||
        (r = sd_bus_flush(impl_->bus)) < 0) {
        error = "cannot send the signal " + member + ": " + errnoText(r);
        return false;
    }
    return true;
}

int Bus::fd() const {
    return sd_bus_get_fd(impl_->bus);
}

bool Bus::process() {
    for (;;) {
        int r = sd_bus_process(impl_->bus, nullptr);
        if (r < 0) return false;
        if (r == 0) return sd_bus_is_open(impl_->bus) > 0;
    }
}

bool Bus::wait(int timeoutMs) {
    if (!process()) return false;
    int r = sd_bus_wait(impl_->bus, timeoutMs < 0 ? static_cast<std::uint64_t>(-1)
                                                  : static_cast<std::uint64_t>(timeoutMs) * 1000);
    if (r < 0 && r != -EINTR) return false;
    return process();
}

}  // namespace tarn::platform::dbus
