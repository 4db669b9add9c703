#include "platform/x11/clipboard.h"

#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <future>
#include <mutex>
#include <thread>

#include "platform/owner_process.h"
#include "support/unicode_text.h"

namespace tarn::platform::x11 {
namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kSelection = "CLIPBOARD";
constexpr const char* kTransferProperty = "_TARN_CLIPBOARD";

// Characters beyond Latin-1 (and bytes that are not UTF-8) become "?".
std::string utf8ToLatin1(const std::string& text) {
    std::string latin1;
    for (std::size_t i = 0; i < text.size();) {
        auto lead = static_cast<unsigned char>(text[i]);
        int length = lead < 0x80           ? 1
                     : (lead >> 5) == 0x6  ? 2
                     : (lead >> 4) == 0xE  ? 3
                     : (lead >> 3) == 0x1E ? 4
                                           : 0;
        bool whole = length > 0 && i + length <= text.size();
        for (int k = 1; whole && k < length; ++k) {
            whole = (static_cast<unsigned char>(text[i + k]) & 0xC0) == 0x80;
        }
        if (!whole) {
            latin1 += '?';
            ++i;
            continue;
        }
        unsigned long code = length == 1 ? lead : lead & (0x7F >> length);
        for (int k = 1; k < length; ++k) {
            code = (code << 6) | (static_cast<unsigned char>(text[i + k]) & 0x3F);
        }
        latin1 += code < 0x100 ? static_cast<char>(code) : '?';
        i += length;
    }
    return latin1;
}

// --- The owner process ------------------------------------------------------------------

// Serves the text until another client takes the selection or the server goes away.
class SelectionOwner {
  public:
    SelectionOwner(Connection& connection, Window window, Time since, std::string text)
        : x_(connection), window_(window), since_(since), text_(std::move(text)) {
        long maxRequest = XExtendedMaxRequestSize(x_.display());
        if (maxRequest == 0) maxRequest = XMaxRequestSize(x_.display());
        // Large texts go in pieces (INCR), so no request comes near the server's limit.
        chunk_ = std::min<std::size_t>(static_cast<std::size_t>(maxRequest) * 4 - 128, 256 * 1024);
    }

    void serve() {
        auto forever = [] { return Clock::now() + std::chrono::hours(24); };
        while (!x_.lost()) {
            auto event = x_.waitForEvent(forever(), [](const XEvent&) { return true; });
            if (event && !handle(*event)) return;
        }
    }

    // One event; false once another client has taken the selection.
    bool handle(const XEvent& event) {
        if (event.type == SelectionClear &&
            event.xselectionclear.selection == x_.atom(kSelection) &&
            event.xselectionclear.window == window_) {
            return false;
        }
        if (event.type == SelectionRequest) answer(event.xselectionrequest);
        if (event.type == PropertyNotify && event.xproperty.state == PropertyDelete) {
            continueTransfer(event.xproperty.window, event.xproperty.atom);
        }
        return true;
    }

  private:
    struct Transfer {
        Window requestor;
        Atom property;
        Atom type;
        std::string data;
        std::size_t offset = 0;
    };

    void answer(const XSelectionRequestEvent& request) {
        XEvent reply{};
        reply.xselection.type = SelectionNotify;
        reply.xselection.requestor = request.requestor;
        reply.xselection.selection = request.selection;
        reply.xselection.target = request.target;
        reply.xselection.property = None;
        reply.xselection.time = request.time;
        // Old clients leave the property out and mean the target's name.
        Atom property = request.property == None ? request.target : request.property;

        const Atom target = request.target;
        const Atom utf8 = x_.atom("UTF8_STRING");
        if (request.selection == x_.atom(kSelection) && request.owner == window_) {
            if (target == x_.atom("TARGETS")) {
                long targets[] = {static_cast<long>(x_.atom("TARGETS")),
                                  static_cast<long>(x_.atom("TIMESTAMP")),
                                  static_cast<long>(utf8),
                                  static_cast<long>(XA_STRING),
                                  static_cast<long>(x_.atom("TEXT")),
                                  static_cast<long>(x_.atom("text/plain;charset=utf-8"))};
                XChangeProperty(x_.display(), request.requestor, property, XA_ATOM, 32,
                                PropModeReplace, reinterpret_cast<unsigned char*>(targets),
                                std::size(targets));
                reply.xselection.property = property;
            } else if (target == x_.atom("TIMESTAMP")) {
                long stamp = static_cast<long>(since_);
                XChangeProperty(x_.display(), request.requestor, property, XA_INTEGER, 32,
                                PropModeReplace, reinterpret_cast<unsigned char*>(&stamp), 1);
                reply.xselection.property = property;
            } else if (target == utf8 || target == x_.atom("TEXT") ||
                       target == x_.atom("text/plain;charset=utf-8")) {
                send(request.requestor, property, utf8, text_);
                reply.xselection.property = property;
            } else if (target == XA_STRING) {
                send(request.requestor, property, XA_STRING, utf8ToLatin1(text_));
                reply.xselection.property = property;
            }
        }
        XSendEvent(x_.display(), request.requestor, False, NoEventMask, &reply);
        XFlush(x_.display());
    }

    void send(Window requestor, Atom property, Atom type, std::string data) {
        if (data.size() <= chunk_) {
            XChangeProperty(x_.display(), requestor, property, type, 8, PropModeReplace,
                            reinterpret_cast<const unsigned char*>(data.data()),
                            static_cast<int>(data.size()));
            return;
        }
        // Incremental: announce the size; each time the requestor deletes the property the
        // next piece follows, and an empty piece ends the transfer.
        XSelectInput(x_.display(), requestor, PropertyChangeMask);
        long size = static_cast<long>(data.size());
        XChangeProperty(x_.display(), requestor, property, x_.atom("INCR"), 32, PropModeReplace,
                        reinterpret_cast<unsigned char*>(&size), 1);
        std::erase_if(transfers_, [&](const Transfer& t) {
            return t.requestor == requestor && t.property == property;
        });
        transfers_.push_back({requestor, property, type, std::move(data)});
    }

    void continueTransfer(Window requestor, Atom property) {
        auto it = std::find_if(transfers_.begin(), transfers_.end(), [&](const Transfer& t) {
            return t.requestor == requestor && t.property == property;
        });
        if (it == transfers_.end()) return;
        std::size_t length = std::min(chunk_, it->data.size() - it->offset);
        XChangeProperty(x_.display(), requestor, property, it->type, 8, PropModeReplace,
                        reinterpret_cast<const unsigned char*>(it->data.data() + it->offset),
                        static_cast<int>(length));
        it->offset += length;
        if (length == 0) {
            XSelectInput(x_.display(), requestor, NoEventMask);
            transfers_.erase(it);
        }
        XFlush(x_.display());
    }

    Connection& x_;
    Window window_;
    Time since_;
    std::string text_;
    std::size_t chunk_ = 0;
    std::vector<Transfer> transfers_;
};

// Takes the selection on the owner's connection; absent when the server gave it to nobody.
std::unique_ptr<SelectionOwner> takeSelection(Connection& connection, const HiddenWindow& window,
                                              const std::string& text) {
    // A real time stamp, not CurrentTime: clients compare them to settle who owns it.
    Time since = connection.serverTime(window.id());
    Atom selection = connection.atom(kSelection);
    XSetSelectionOwner(connection.display(), selection, window.id(), since);
    if (XGetSelectionOwner(connection.display(), selection) != window.id()) return nullptr;
    return std::make_unique<SelectionOwner>(connection, window.id(), since, text);
}

// The owner process of a one-shot command, on its own connection.
bool serveAsOwner(const std::string& displayName, const std::string& text,
                  const std::function<void()>& ready) {
    std::string error;
    auto connection = Connection::open(displayName, error);
    if (!connection) return false;
    {
        HiddenWindow window(*connection, PropertyChangeMask);
        auto owner = takeSelection(*connection, window, text);
        if (!owner) return false;
        ready();
        owner->serve();
    }
    connection.reset();
    return true;
}

}  // namespace

// --- Serving from a thread of this process ----------------------------------------------

// The owner's connection and window live on the thread, opened at the first write and again
// after the server dropped them. A write hands the text over and waits until the thread
// owns the selection (or gave up), so that a read that follows sees the new text.
class ClipboardX11::InProcessOwner {
  public:
    explicit InProcessOwner(std::string displayName) : displayName_(std::move(displayName)) {
        wake_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
        thread_ = std::thread([this] { run(); });
    }

    ~InProcessOwner() {
        {
            std::lock_guard guard(lock_);
            stopping_ = true;
        }
        wake();
        thread_.join();
        ::close(wake_);
    }

    void write(const std::string& text) {
        std::promise<void> done;
        auto served = done.get_future();
        {
            std::lock_guard guard(lock_);
            if (pending_) pending_->done.set_value();  // overtaken before it was served
            pending_ = Request{text, std::move(done)};
        }
        wake();
        served.wait_for(std::chrono::seconds(2));
    }

  private:
    struct Request {
        std::string text;
        std::promise<void> done;
    };

    void wake() {
        std::uint64_t one = 1;
        [[maybe_unused]] auto written = ::write(wake_, &one, sizeof one);
    }

    void run() {
        ::pthread_setname_np(::pthread_self(), "Clipboard");
        std::unique_ptr<Connection> connection;
        std::unique_ptr<HiddenWindow> window;
        std::unique_ptr<SelectionOwner> owner;
        while (true) {
            if (connection) {
                while (!connection->lost() && XPending(connection->display()) > 0) {
                    XEvent event;
                    XNextEvent(connection->display(), &event);
                    if (owner && !owner->handle(event)) owner.reset();  // someone else's now
                }
                if (connection->lost()) {
                    owner.reset();
                    window.reset();
                    connection.reset();
                } else if (XQLength(connection->display()) > 0) {
                    continue;  // read in while taking the selection: out of poll()'s sight
                }
            }
            pollfd descriptors[2] = {
                {wake_, POLLIN, 0},
                {connection ? ConnectionNumber(connection->display()) : -1, POLLIN, 0}};
            if (::poll(descriptors, 2, -1) < 0 && errno != EINTR) return;
            if (!(descriptors[0].revents & POLLIN)) continue;
            std::uint64_t count = 0;
            [[maybe_unused]] auto got = ::read(wake_, &count, sizeof count);
            std::optional<Request> request;
            {
                std::lock_guard guard(lock_);
                if (stopping_) {
                    if (pending_) pending_->done.set_value();
                    return;
                }
                request.swap(pending_);
            }
            if (!request) continue;
            if (!connection) {
                std::string error;
                connection = Connection::open(displayName_, error);
                if (connection)
                    window = std::make_unique<HiddenWindow>(*connection, PropertyChangeMask);
            }
            owner.reset();
            if (connection) owner = takeSelection(*connection, *window, request->text);
            request->done.set_value();
        }
    }

    std::string displayName_;
    std::mutex lock_;
    std::optional<Request> pending_;
    bool stopping_ = false;
    int wake_ = -1;
    std::thread thread_;
};

ClipboardX11::ClipboardX11(Connection& connection, ClipboardOwner owner,
                           std::chrono::milliseconds timeout)
    : x_(connection), ownerKind_(owner), timeout_(timeout) {}

ClipboardX11::~ClipboardX11() = default;

Window ClipboardX11::requestor() {
    if (!requestor_) requestor_ = std::make_unique<HiddenWindow>(x_, PropertyChangeMask);
    return requestor_->id();
}

ClipboardX11::Outcome ClipboardX11::convert(Atom target, std::string& text) {
    Display* display = x_.display();
    const Window window = requestor();
    const Atom property = x_.atom(kTransferProperty);
    const Atom selection = x_.atom(kSelection);
    XDeleteProperty(display, window, property);
    XConvertSelection(display, selection, target, property, window, CurrentTime);
    XFlush(display);

    auto notify = x_.waitForEvent(Clock::now() + timeout_, [&](const XEvent& event) {
        return event.type == SelectionNotify && event.xselection.requestor == window &&
               event.xselection.selection == selection;
    });
    if (!notify) return Outcome::noAnswer;
    if (notify->xselection.property == None) return Outcome::refused;

    auto value = readProperty(x_, window, property);
    XDeleteProperty(display, window, property);
    XFlush(display);
    const Atom incremental = x_.atom("INCR");
    if (!value || (value->format != 8 && value->type != incremental)) return Outcome::refused;

    std::vector<unsigned char> bytes;
    Atom type = value->type;
    if (value->type == incremental) {
        // Deleting the announcement asked for the first piece; an empty piece ends it.
        type = None;
        while (true) {
            auto piece = x_.waitForEvent(Clock::now() + timeout_, [&](const XEvent& event) {
                return event.type == PropertyNotify && event.xproperty.window == window &&
                       event.xproperty.atom == property &&
                       event.xproperty.state == PropertyNewValue;
            });
            if (!piece) return Outcome::noAnswer;
            auto chunk = readProperty(x_, window, property);
            XDeleteProperty(display, window, property);
            XFlush(display);
            if (!chunk || chunk->count == 0) break;
            if (type == None) type = chunk->type;
            bytes.insert(bytes.end(), chunk->bytes.begin(), chunk->bytes.end());
        }
    } else {
        bytes = std::move(value->bytes);
    }
    std::string received(bytes.begin(), bytes.end());
    text = type == XA_STRING ? support::latin1ToUtf8(received) : std::move(received);
    return Outcome::text;
}

std::optional<std::string> ClipboardX11::readText() {
    std::optional<std::string> result;
    if (XGetSelectionOwner(x_.display(), x_.atom(kSelection)) != None) {
        for (Atom target : {x_.atom("UTF8_STRING"), Atom{XA_STRING}}) {
            std::string text;
            Outcome outcome = convert(target, text);
            if (outcome == Outcome::text) result = std::move(text);
            if (outcome != Outcome::refused) break;
        }
    }
    x_.check();
    return result;
}

void ClipboardX11::writeText(const std::string& text) {
    if (ownerKind_ == ClipboardOwner::thisProcess) {
        if (!inProcess_) inProcess_ = std::make_unique<InProcessOwner>(x_.name());
        inProcess_->write(text);
        x_.check();
        return;
    }
    runInOwnerProcess([&, name = x_.name()](const std::function<void()>& ready) {
        return serveAsOwner(name, text, ready);
    });
    x_.check();
}

}  // namespace tarn::platform::x11
