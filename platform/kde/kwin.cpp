#include "platform/kde/kwin.h"

#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <filesystem>

#include "platform/desktop.h"
#include "support/files.h"

namespace tarn::platform::kde {
namespace {

using namespace std::chrono_literals;

const dbus::Address kKWin{"org.kde.KWin", "/KWin", "org.kde.KWin"};
const dbus::Address kScripting{"org.kde.KWin", "/Scripting", "org.kde.kwin.Scripting"};
constexpr const char* kServedPath = "/org/tarn/KWin";
constexpr const char* kServedInterface = "org.tarn.KWin";

// How long the serving thread holds the script's call before it answers "idle": well under
// the 25 s after which KWin gives the call up (and the script's loop with it).
constexpr auto kHold = 15s;
// How long a request may take: KWin answers in a millisecond unless it is stuck.
constexpr auto kRequestLimit = 5s;

const char* kNoKWin =
    "KWin does not answer on the session bus (org.kde.KWin): is this a KDE Plasma session? "
    "(TARN_DESKTOP=kde forces the KDE backend; unset it on other desktops)";

std::filesystem::path scriptDirectory() {
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime && *runtime) return runtime;
    return std::filesystem::temp_directory_path();
}

}  // namespace

std::optional<KWinVersion> kwinVersion(dbus::Bus& bus, std::string& error) {
    auto reply = bus.call(kKWin, "supportInformation", "", {});
    if (!reply) {
        error = std::string(kNoKWin) + ": " + reply.error->describe();
        return std::nullopt;
    }
    const std::string* text = reply.values.empty() ? nullptr : reply.values.front().text();
    auto version = text ? parseKWinVersion(*text) : std::nullopt;
    if (!version) error = "KWin's support information names no version";
    return version;
}

// --- LoadedScript ---------------------------------------------------------------------------

std::unique_ptr<LoadedScript> LoadedScript::load(dbus::Bus& bus, const std::string& text,
                                                 const std::string& pluginName,
                                                 std::string& error) {
    auto file = scriptDirectory() / (pluginName + ".js");
    if (auto failed = support::writeFileAtomically(file, text, support::Durability::contentOnly)) {
        error = "could not write the KWin script " + file.string() + ": " + *failed;
        return nullptr;
    }
    auto reply = bus.call(kScripting, "loadScript", "ss", {file.string(), pluginName});
    const auto id = reply && !reply.values.empty() ? reply.values.front().integer() : std::nullopt;
    if (!id || *id < 0) {
        std::error_code ignored;
        std::filesystem::remove(file, ignored);
        error = "KWin refused to load Tarn's script" +
                (reply ? std::string(" (a script named ") + pluginName + " is loaded already?)"
                       : ": " + reply.error->describe());
        return nullptr;
    }
    std::unique_ptr<LoadedScript> script(new LoadedScript(bus, pluginName, file.string()));
    // Scripting.start runs every loaded script that is not running yet. The script's own
    // object (/<id> on KWin 5, /Scripting/Script<id> on KWin 6) is no way to run it: KWin
    // 5.27 numbers a script by how many are loaded, so after an unload a new script shares
    // its number, and its object path, with an older one.
    auto run = bus.call(kScripting, "start", "", {});
    if (!run) {
        error = "KWin loaded Tarn's script but did not run it: " + run.error->describe();
        return nullptr;
    }
    return script;
}

void LoadedScript::forgetFile() {
    if (file_.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(file_, ignored);
    file_.clear();
}

void LoadedScript::unload() {
    if (!loaded_) return;
    loaded_ = false;
    bus_.call(kScripting, "unloadScript", "s", {name_});
    forgetFile();
}

LoadedScript::~LoadedScript() {
    unload();
}

// --- KWinSession ------------------------------------------------------------------------------

std::unique_ptr<KWinSession> KWinSession::open(std::string& error) {
    std::unique_ptr<KWinSession> session(new KWinSession());
    std::string busError;
    session->calls_ = dbus::Bus::session(busError);
    if (session->calls_) session->served_ = dbus::Bus::session(busError);
    if (!session->served_) {
        error = "No session bus to reach KWin on: " + busError;
        return nullptr;
    }
    auto version = kwinVersion(*session->calls_, error);
    if (!version) return nullptr;
    session->version_ = *version;

    auto owner = session->calls_->call(
        {"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus"}, "GetNameOwner",
        "s", {"org.kde.KWin"});
    if (!owner || owner.values.empty() || !owner.values.front().text()) {
        error = kNoKWin;
        return nullptr;
    }
    session->kwinOwner_ = *owner.values.front().text();

    // Everything on the serving connection is set up before its thread takes it over.
    KWinSession* self = session.get();
    const CallBack callBack{session->served_->uniqueName(), kServedPath, kServedInterface};
    session->serving_ = session->served_->serve(
        kServedPath, [self](const dbus::Call& call) { return self->serveCall(call); });
    session->thread_ = std::thread([self] { self->serveLoop(); });

    // One plugin name per connection: KWin refuses a second script of the same name.
    std::string name = "tarn-" + std::to_string(::getpid()) + "-" + callBack.busName.substr(1);
    for (char& c : name)
        if (c == '.') c = '-';
    session->script_ = LoadedScript::load(
        *session->calls_, windowScript(scriptApiFor(*version), callBack), name, error);
    if (!session->script_) return nullptr;

    std::unique_lock lock(session->mutex_);
    const bool came = session->changed_.wait_for(
        lock, kRequestLimit, [self] { return self->started_ || self->failure_; });
    lock.unlock();
    session->script_->forgetFile();
    if (!came || session->failure_) {
        error = came ? "Tarn's KWin script cannot run: " + *session->failure_
                     : "KWin loaded Tarn's script but it never called back (KWin's own log "
                       "says why, in its lines that start with \"js:\")";
        return nullptr;
    }
    return session;
}

KWinSession::~KWinSession() {
    // The script's loop ends first (its held call answered "quit"), and only then is it
    // unloaded: KWin 5.27 runs no new script after one went with a call still open.
    {
        std::unique_lock lock(mutex_);
        if (started_ && !failure_) {
            request_ = R"({"op":"quit"})";
            changed_.notify_all();
            changed_.wait_for(lock, kRequestLimit, [this] { return !request_.has_value(); });
        }
        stopping_ = true;
    }
    changed_.notify_all();
    if (thread_.joinable()) thread_.join();
    // Closing the connection sends what it still holds (the answer "quit").
    serving_.reset();
    served_.reset();
    if (script_) script_->unload();
}

void KWinSession::serveLoop() {
    for (;;) {
        {
            std::lock_guard lock(mutex_);
            if (stopping_) return;
        }
        if (!served_->wait(200)) return;
    }
}

dbus::Answer KWinSession::serveCall(const dbus::Call& call) {
    if (call.sender != kwinOwner_)
        return {"", {}, dbus::Error{"org.freedesktop.DBus.Error.AccessDenied", "KWin only"}};
    const std::string* text = call.arguments.empty() ? nullptr : call.arguments.front().text();
    std::unique_lock lock(mutex_);
    if (call.member == "failed") {
        failure_ = text ? *text : "no reason given";
        changed_.notify_all();
        return {};
    }
    if (call.member != "next" || !text)
        return {"", {}, dbus::Error{"org.freedesktop.DBus.Error.UnknownMethod", call.member}};
    if (!started_) {
        started_ = true;
    } else if (!text->empty()) {
        answer_ = *text;
    }
    changed_.notify_all();
    changed_.wait_for(lock, kHold, [this] { return stopping_ || request_.has_value(); });
    std::string next = R"({"op":"idle"})";
    if (request_ && !stopping_) {
        next = std::move(*request_);
        request_.reset();
        changed_.notify_all();
    }
    return {"s", {next}, std::nullopt};
}

support::Json KWinSession::request(const support::Json& request) {
    const std::string op = request.value("op", "");
    std::unique_lock lock(mutex_);
    answer_.reset();
    request_ = support::writeJson(request);
    changed_.notify_all();
    if (!changed_.wait_for(lock, kRequestLimit, [this] { return answer_.has_value(); })) {
        request_.reset();
        throw DesktopError("KWin's script did not answer the request \"" + op +
                           "\" (is KWin still running?)");
    }
    auto parsed = support::parseJson(*answer_);
    answer_.reset();
    if (!parsed || !parsed->is_object())
        throw DesktopError("KWin's script answered \"" + op + "\" with no JSON");
    if (auto error = parsed->find("error"); error != parsed->end())
        throw DesktopError("KWin's script failed at \"" + op + "\": " +
                           (error->is_string() ? error->get<std::string>() : error->dump()));
    return parsed->value("ok", support::Json());
}

}  // namespace tarn::platform::kde
