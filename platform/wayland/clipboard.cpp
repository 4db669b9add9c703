#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <future>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/event_thread.h"
#include "platform/owner_process.h"
#include "platform/wayland/connection.h"
#include "wlr-data-control-unstable-v1-client-protocol.h"

namespace tarn::platform::wayland {
namespace {

using Clock = std::chrono::steady_clock;

// The text types, in the order a reader prefers them; a writer offers them all.
constexpr const char* kTextTypes[] = {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain",
                                      "TEXT", "STRING"};

// The clipboard (the seat's selection) as data control sees it: the offer that holds it now.
// A MIME type name: printable, no space, a '/' between two non-empty parts.
bool isTypeName(const std::string& type) {
    auto slash = type.find('/');
    return slash != std::string::npos && slash > 0 && slash + 1 < type.size() &&
           std::all_of(type.begin(), type.end(),
                       [](unsigned char c) { return c > 0x20 && c < 0x7f; });
}

class SelectionDevice {
  public:
    SelectionDevice(zwlr_data_control_manager_v1* manager, wl_seat* seat)
        : device_(zwlr_data_control_manager_v1_get_data_device(manager, seat)) {
        static const zwlr_data_control_device_v1_listener listener{
            .data_offer = onDataOffer,
            .selection = onSelection,
            .finished = onFinished,
            .primary_selection = onPrimarySelection};
        zwlr_data_control_device_v1_add_listener(device_, &listener, this);
    }
    ~SelectionDevice() {
        for (auto& [offer, types] : offers_) zwlr_data_control_offer_v1_destroy(offer);
        zwlr_data_control_device_v1_destroy(device_);
    }
    SelectionDevice(const SelectionDevice&) = delete;
    SelectionDevice& operator=(const SelectionDevice&) = delete;

    zwlr_data_control_device_v1* device() const { return device_; }
    zwlr_data_control_offer_v1* selection() const { return selection_; }
    // The text type the selection is best read in; null when it holds no text.
    const char* textType() const {
        for (const auto& [offer, types] : offers_) {
            if (offer != selection_) continue;
            for (const char* wanted : kTextTypes)
                for (const auto& type : types)
                    if (type == wanted) return wanted;
            // KWin 5.27 names the types of the selection a new device starts with in bytes
            // that are no type name (freed before they are sent, so they may even read as
            // text); the source itself is asked for the type by name, so the usual text type
            // is asked for.
            for (const auto& type : types)
                if (!isTypeName(type)) return kTextTypes[0];
        }
        return nullptr;
    }

  private:
    static void onOffer(void* data, zwlr_data_control_offer_v1* offer, const char* type) {
        auto* self = static_cast<SelectionDevice*>(data);
        for (auto& [each, types] : self->offers_)
            if (each == offer) types.emplace_back(type);
    }
    static void onDataOffer(void* data, zwlr_data_control_device_v1*,
                            zwlr_data_control_offer_v1* offer) {
        static const zwlr_data_control_offer_v1_listener listener{onOffer};
        zwlr_data_control_offer_v1_add_listener(offer, &listener, data);
        static_cast<SelectionDevice*>(data)->offers_.push_back({offer, {}});
    }
    // A new selection (or none) replaces the old; offers that hold nothing go.
    static void onSelection(void* data, zwlr_data_control_device_v1*,
                            zwlr_data_control_offer_v1* offer) {
        auto* self = static_cast<SelectionDevice*>(data);
        self->selection_ = offer;
        self->dropOffersBut(offer);
    }
    static void onFinished(void* data, zwlr_data_control_device_v1*) {
        auto* self = static_cast<SelectionDevice*>(data);
        self->selection_ = nullptr;
        self->dropOffersBut(nullptr);
    }
    // Bound at version 1, which has no primary selection (middle-click) events.
    static void onPrimarySelection(void*, zwlr_data_control_device_v1*,
                                   zwlr_data_control_offer_v1*) {}
    void dropOffersBut(zwlr_data_control_offer_v1* kept) {
        std::erase_if(offers_, [&](const auto& entry) {
            if (entry.first == kept) return false;
            zwlr_data_control_offer_v1_destroy(entry.first);
            return true;
        });
    }

    zwlr_data_control_device_v1* device_;
    zwlr_data_control_offer_v1* selection_ = nullptr;
    std::vector<std::pair<zwlr_data_control_offer_v1*, std::vector<std::string>>> offers_;
};

// Writes the whole text to the reader's descriptor. A reader that goes away early only ends
// its own transfer (writes are made with SIGPIPE blocked or ignored, so it is EPIPE here).
void sendText(int fd, const std::string& text) {
    int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    for (std::size_t sent = 0; sent < text.size();) {
        ssize_t written = ::write(fd, text.data() + sent, text.size() - sent);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) break;
        sent += static_cast<std::size_t>(written);
    }
    ::close(fd);
}

// Holds the clipboard with one text on a connection of its own, answering every reader,
// until another client takes the clipboard (or the connection ends).
class SelectionOwner {
  public:
    SelectionOwner(Connection& connection, zwlr_data_control_manager_v1* manager,
                   SelectionDevice& device, std::string text)
        : connection_(connection),
          source_(zwlr_data_control_manager_v1_create_data_source(manager)),
          text_(std::move(text)) {
        static const zwlr_data_control_source_v1_listener listener{onSend, onCancelled};
        zwlr_data_control_source_v1_add_listener(source_, &listener, this);
        for (const char* type : kTextTypes) zwlr_data_control_source_v1_offer(source_, type);
        zwlr_data_control_device_v1_set_selection(device.device(), source_);
        // Once the compositor handled it, a reader anywhere gets this text.
        connection_.roundtrip();
    }
    ~SelectionOwner() {
        if (source_) zwlr_data_control_source_v1_destroy(source_);
    }
    SelectionOwner(const SelectionOwner&) = delete;
    SelectionOwner& operator=(const SelectionOwner&) = delete;

    bool holds() const { return !cancelled_; }

  private:
    static void onSend(void* data, zwlr_data_control_source_v1*, const char*, std::int32_t fd) {
        sendText(fd, static_cast<SelectionOwner*>(data)->text_);
    }
    static void onCancelled(void* data, zwlr_data_control_source_v1*) {
        static_cast<SelectionOwner*>(data)->cancelled_ = true;
    }

    Connection& connection_;
    zwlr_data_control_source_v1* source_;
    std::string text_;
    bool cancelled_ = false;
};

zwlr_data_control_manager_v1* bindManager(Connection& connection) {
    return static_cast<zwlr_data_control_manager_v1*>(
        connection.bind(&zwlr_data_control_manager_v1_interface, 1));
}

// The owner process of a one-shot command, on its own connection.
bool serveAsOwner(const std::string& displayName, const std::string& text,
                  const std::function<void()>& ready) {
    std::string error;
    auto connection = Connection::open(displayName, error);
    if (!connection || !connection->seat()) return false;
    auto* manager = bindManager(*connection);
    if (!manager) return false;
    {
        SelectionDevice device(manager, connection->seat());
        SelectionOwner owner(*connection, manager, device, text);
        ready();
        while (owner.holds() && wl_display_dispatch(connection->display()) >= 0) {
        }
    }
    zwlr_data_control_manager_v1_destroy(manager);
    connection.reset();
    return true;
}

// The long-running agent's owner: a thread of its own with a connection of its own, which
// holds the clipboard for as long as the process runs or until another client takes it. A
// write hands the text over and waits until the thread holds the clipboard, so a read that
// follows sees the new text.
class InProcessOwner {
  public:
    explicit InProcessOwner(std::string displayName) : displayName_(std::move(displayName)) {}

    void write(const std::string& text) {
        std::promise<void> done;
        auto served = done.get_future();
        {
            std::lock_guard guard(lock_);
            if (pending_) pending_->done.set_value();  // overtaken before it was served
            pending_ = Request{text, std::move(done)};
        }
        if (!running_) {
            running_ =
                thread_.start([this](std::promise<std::string>& started) { run(started); }).empty();
        }
        thread_.wake();
        served.wait_for(std::chrono::seconds(2));
    }

  private:
    struct Request {
        std::string text;
        std::promise<void> done;
    };

    void run(std::promise<std::string>& started) {
        ::pthread_setname_np(::pthread_self(), "Clipboard");
        // A reader that leaves early must not end the agent: its pipe's EPIPE is enough.
        sigset_t pipe;
        sigemptyset(&pipe);
        sigaddset(&pipe, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &pipe, nullptr);
        std::string error;
        auto connection = Connection::open(displayName_, error);
        auto* manager = connection ? bindManager(*connection) : nullptr;
        if (!manager || !connection->seat()) {
            std::lock_guard guard(lock_);
            if (pending_) pending_->done.set_value();  // nothing will serve it
            pending_.reset();
            started.set_value(error.empty() ? "no data control" : error);
            return;
        }
        started.set_value("");
        std::optional<SelectionDevice> device(std::in_place, manager, connection->seat());
        std::optional<SelectionOwner> owner;
        wl_display* display = connection->display();
        while (!thread_.stopping()) {
            std::optional<Request> request;
            {
                std::lock_guard guard(lock_);
                request.swap(pending_);
            }
            if (request) {
                owner.reset();
                owner.emplace(*connection, manager, *device, request->text);
                request->done.set_value();
            }
            if (owner && !owner->holds()) owner.reset();  // someone else's now
            while (wl_display_prepare_read(display) != 0) wl_display_dispatch_pending(display);
            if (!connection->flush()) {
                wl_display_cancel_read(display);
                break;
            }
            bool woken = false;
            if (!thread_.sleep(wl_display_get_fd(display), woken)) {
                wl_display_cancel_read(display);
                break;
            }
            if (woken) {
                wl_display_cancel_read(display);
            } else if (wl_display_read_events(display) < 0) {
                break;
            }
            if (wl_display_dispatch_pending(display) < 0) break;
        }
        owner.reset();
        device.reset();
        zwlr_data_control_manager_v1_destroy(manager);
        std::lock_guard guard(lock_);
        if (pending_) pending_->done.set_value();
        pending_.reset();
    }

    std::string displayName_;
    std::mutex lock_;
    std::optional<Request> pending_;
    bool running_ = false;
    EventThread thread_;
};

class DataControlClipboard final : public Clipboard {
  public:
    DataControlClipboard(std::shared_ptr<Connection> connection,
                         zwlr_data_control_manager_v1* manager, bool outlivesProcess)
        : connection_(std::move(connection)), manager_(manager), outlives_(outlivesProcess) {}

    ~DataControlClipboard() override {
        inProcess_.reset();
        device_.reset();
        zwlr_data_control_manager_v1_destroy(manager_);
        connection_->flush();
    }

    std::optional<std::string> readText() override {
        if (!device_) device_.emplace(manager_, connection_->seat());
        // The latest selection has come once the compositor answered.
        if (!connection_->roundtrip()) return std::nullopt;
        const char* type = device_->textType();
        if (!type) return std::nullopt;
        int pipe[2];
        if (::pipe2(pipe, O_CLOEXEC) != 0) return std::nullopt;
        zwlr_data_control_offer_v1_receive(device_->selection(), type, pipe[1]);
        ::close(pipe[1]);
        connection_->flush();
        auto text = readAll(pipe[0]);
        ::close(pipe[0]);
        return text;
    }

    void writeText(const std::string& text) override {
        if (!outlives_) {
            if (!inProcess_) inProcess_ = std::make_unique<InProcessOwner>(connection_->name());
            inProcess_->write(text);
            return;
        }
        runInOwnerProcess([&, name = connection_->name()](const std::function<void()>& ready) {
            return serveAsOwner(name, text, ready);
        });
    }

  private:
    // Everything the owner writes until it closes its end; an owner that does not answer
    // within a second counts as an empty clipboard.
    static std::optional<std::string> readAll(int fd) {
        std::string text;
        auto deadline = Clock::now() + std::chrono::seconds(1);
        while (true) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            pollfd descriptor{fd, POLLIN, 0};
            int ready = ::poll(&descriptor, 1, static_cast<int>(std::max<long>(0, left.count())));
            if (ready < 0 && errno == EINTR) continue;
            if (ready <= 0) return std::nullopt;
            char chunk[65536];
            ssize_t got = ::read(fd, chunk, sizeof chunk);
            if (got < 0 && errno == EINTR) continue;
            if (got < 0) return std::nullopt;
            if (got == 0) return text;
            text.append(chunk, static_cast<std::size_t>(got));
        }
    }

    std::shared_ptr<Connection> connection_;
    zwlr_data_control_manager_v1* manager_;
    bool outlives_;
    std::optional<SelectionDevice> device_;
    std::unique_ptr<InProcessOwner> inProcess_;
};

}  // namespace

std::unique_ptr<Clipboard> makeClipboard(std::shared_ptr<Connection> connection,
                                         bool outlivesProcess, std::string& error) {
    if (!connection->seat()) {
        error = "the Wayland compositor has no seat";
        return nullptr;
    }
    auto* manager = bindManager(*connection);
    if (!manager) {
        error = "the Wayland compositor offers no clipboard control (zwlr_data_control_v1)";
        return nullptr;
    }
    return std::make_unique<DataControlClipboard>(std::move(connection), manager, outlivesProcess);
}

}  // namespace tarn::platform::wayland
