#pragma once

// The process's line to KWin: the session bus, the version of the KWin that runs, and one
// resident script that serves this process's window requests for as long as it lives.
//
// A KWin script cannot be called over D-Bus; it can only call out (callDBus). So the script
// calls this process and receives each request as the reply to its previous call, which
// carried the previous answer: one round trip per request, and one script per process
// however many requests it makes. A thread of its own serves those calls on a connection of
// its own; between requests it holds the script's call, and answers "idle" now and then so
// KWin's call never times out (a call that times out would end the script's loop).

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "platform/dbus/bus.h"
#include "platform/kde/kwin_script.h"
#include "support/json_text.h"

namespace tarn::platform::kde {

// The version of the KWin on the bus (from its support information); absent, with the
// reason, when KWin does not answer.
std::optional<KWinVersion> kwinVersion(dbus::Bus& bus, std::string& error);

// Loads a script into KWin under a plugin name of its own, runs it, and unloads it with the
// object. The file KWin reads it from is removed once KWin has read it.
class LoadedScript {
  public:
    static std::unique_ptr<LoadedScript> load(dbus::Bus& bus, const std::string& text,
                                              const std::string& pluginName, std::string& error);
    ~LoadedScript();
    LoadedScript(const LoadedScript&) = delete;
    LoadedScript& operator=(const LoadedScript&) = delete;

    const std::string& pluginName() const { return name_; }
    // Removes the script file (KWin reads it when the script starts running).
    void forgetFile();
    // Unloads now (the destructor then does nothing).
    void unload();

  private:
    LoadedScript(dbus::Bus& bus, std::string name, std::string file)
        : bus_(bus), name_(std::move(name)), file_(std::move(file)) {}
    dbus::Bus& bus_;
    std::string name_;
    std::string file_;
    bool loaded_ = true;
};

class KWinSession {
  public:
    // Connects to KWin and starts the resident script; null with the reason (which says what
    // to do) when KWin cannot be reached or the script does not start.
    static std::unique_ptr<KWinSession> open(std::string& error);
    ~KWinSession();
    KWinSession(const KWinSession&) = delete;
    KWinSession& operator=(const KWinSession&) = delete;

    KWinVersion version() const { return version_; }

    // Sends one request ({"op": ..., ...}) to the script and returns its result; throws
    // DesktopError when the script does not answer or reports an error.
    support::Json request(const support::Json& request);

  private:
    KWinSession() = default;
    dbus::Answer serveCall(const dbus::Call& call);
    void serveLoop();

    std::unique_ptr<dbus::Bus> calls_;   // this thread's: KWin's own D-Bus methods
    std::unique_ptr<dbus::Bus> served_;  // the serving thread's: the script's calls
    std::unique_ptr<dbus::Bus::Subscription> serving_;
    std::unique_ptr<LoadedScript> script_;
    std::string kwinOwner_;  // KWin's unique name: the only caller served
    KWinVersion version_;
    std::thread thread_;

    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    bool started_ = false;                // the script's first call came
    std::optional<std::string> failure_;  // the script said it cannot run
    std::optional<std::string> request_;  // waiting for the script to take it
    std::optional<std::string> answer_;   // the script's answer, waiting for request()
};

}  // namespace tarn::platform::kde
