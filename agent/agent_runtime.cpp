#include "agent/agent_runtime.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string_view>

#include "agent/main_loop.h"
#include "core/commands/version.h"
#include "core/window/move_app.h"
#include "platform/desktop.h"

namespace tarn::agent {
namespace {

constexpr std::string_view kUsageHead =
    "Usage: wendle [--headless | --help | --version]\n"
    "\n"
    "Runs the Wendle hotkey agent for this desktop session: the key chords of\n"
    "wendle-config.json move windows, type keystroke sequences and move the pointer.\n"
    "\n";
constexpr std::string_view kHeadlessWithWindows =
    "  --headless   run without a tray icon or settings window\n";
constexpr std::string_view kHeadlessOnly =
    "  --headless   run without a tray icon or settings window (the only mode of this build)\n";
constexpr std::string_view kUsageTail =
    "  --help       show this text\n"
    "  --version    show the version\n"
    "\n"
    "Signals: SIGTERM or SIGINT stop the agent after saving a pending change; SIGHUP\n"
    "reloads the configuration file.\n";

void printUsage(std::ostream& out, bool withWindows) {
    out << kUsageHead << (withWindows ? kHeadlessWithWindows : kHeadlessOnly) << kUsageTail;
}

// Signals reach the event loop through a pipe: the handler only writes the signal's number.
int signalPipeWrite = -1;

extern "C" void onSignal(int signal) {
    int saved = errno;
    unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] ssize_t ignored = ::write(signalPipeWrite, &byte, 1);
    errno = saved;
}

SystemLog::Echo echoMode() {
    // Started by hand or by a test, the agent shows its log on standard error as well.
    const char* toStderr = std::getenv("WENDLE_LOG_STDERR");
    return toStderr && *toStderr == '1' ? SystemLog::Echo::always : SystemLog::Echo::whenTerminal;
}

}  // namespace

CommandLine parseCommandLine(int argc, char** argv, bool withWindows) {
    CommandLine line;
    for (int i = 1; i < argc; ++i) {
        std::string_view option = argv[i];
        if (option == "--help" || option == "-h") {
            printUsage(std::cout, withWindows);
            line.exitStatus = 0;
            return line;
        }
        if (option == "--version") {
            std::cout << "wendle " << commands::TarnVersion::versionString() << '\n';
            line.exitStatus = 0;
            return line;
        }
        if (option != "--headless") {
            std::cerr << "wendle: unknown option '" << option << "'\n";
            printUsage(std::cerr, withWindows);
            line.exitStatus = 2;
            return line;
        }
        line.headless = true;
    }
    if (!withWindows) line.headless = true;
    return line;
}

std::unique_ptr<AgentRuntime> AgentRuntime::open(RuntimeHost host, std::string& error) {
    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        error = std::strerror(errno);
        return nullptr;
    }
    Fd signalRead(pipeFds[0]);
    Fd signalWrite(pipeFds[1]);
    platform::Backend backend;
    platform::AgentServices services = backend.openAgentServices();
    if (!services.keys || !services.apps) {
        error = services.error;
        return nullptr;
    }
    return std::unique_ptr<AgentRuntime>(
        new AgentRuntime(std::move(host), std::move(backend), std::move(services),
                         std::move(signalRead), std::move(signalWrite)));
}

// The agent is a long-running process with threads: the clipboard is served from one of
// them, never from a forked owner.
platform::DesktopChoice AgentRuntime::openDesktop() const {
    return backend_.openDesktop({.clipboardOutlivesProcess = false});
}

AgentRuntime::AgentRuntime(RuntimeHost host, platform::Backend backend,
                           platform::AgentServices services, Fd signalRead, Fd signalWrite)
    : host_(std::move(host)),
      backend_(std::move(backend)),
      services_(std::move(services)),
      signalRead_(std::move(signalRead)),
      signalWrite_(std::move(signalWrite)),
      log_(SystemLog::kQueueLimit, echoMode()),
      appLog_(log_, LogCategory::appDelegate),
      desktop_([this] { return openDesktop(); }),
      coreLog_(Logger(log_, LogCategory::core)),
      context_(std::cout, coreLog_, desktop_),
      store_(host_.mainLoop, Logger(log_, LogCategory::appDelegate)),
      actions_{.context = context_,
               .keysBuffer = keysBuffer_,
               .log = log_,
               .configStore = store_,
               .desktopLost = [this] { desktop_.drop(); },
               .beforeAction = [this] { desktop_.startAction(); },
               .afterAction = [this] { desktop_.finishAction(); }},
      engine_(Logger(log_, LogCategory::ruleEngine)),
      observer_(*services_.apps, host_.mainLoop) {
    signalPipeWrite = signalWrite_.get();
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) ::sigaction(signal, &action, nullptr);
    ::signal(SIGPIPE, SIG_IGN);

    delegate_.emplace(AgentParts{
        .configStore = store_,
        .appObserver = observer_,
        .ruleEngine = engine_,
        .keySource = *services_.keys,
        .actions = actions_,
        .mainLoop = host_.mainLoop,
        .log = log_,
        .openDesktop = [this] { return openDesktop(); },
        .ownPid = ::getpid(),
        .onDisplayLost =
            [this](const std::string& why) {
                appLog_.error("The X server went away (" + why + "); Wendle stops");
                quit(1);
            },
        .showInstructions = host_.showInstructions,
        .asksAboutLoginItem = host_.asksAboutLoginItem,
    });
}

AgentRuntime::~AgentRuntime() {
    finish();
    // No signal may write into the pipe once it is closed.
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) ::signal(signal, SIG_DFL);
    signalPipeWrite = -1;
}

void AgentRuntime::readSignals() {
    unsigned char received = 0;
    while (::read(signalRead_.get(), &received, 1) == 1) {
        if (received == SIGHUP) {
            delegate_->reloadConfiguration("SIGHUP");
        } else {
            appLog_.error(std::string("Stopping on ") +
                          (received == SIGINT ? "SIGINT" : "SIGTERM"));
            quit(0);
        }
    }
}

void AgentRuntime::quit(int status) {
    delegate_->prepareToQuit();
    host_.endLoop(status);
}

void AgentRuntime::finish() {
    if (finished_) return;
    finished_ = true;
    desktop_.quit();
    delegate_.reset();
    log_.flush();
}

int runHeadless(int instanceSocket) {
    MainLoop loop;
    std::string error;
    auto runtime = AgentRuntime::open({.mainLoop = loop,
                                       .endLoop = [&loop](int status) { loop.quit(status); },
                                       .showInstructions = {},
                                       .asksAboutLoginItem = false},
                                      error);
    if (!runtime) {
        std::cerr << "wendle: " << error << '\n';
        return 1;
    }
    loop.watch(runtime->signalFd(), [&runtime] { runtime->readSignals(); });
    if (instanceSocket >= 0) {
        loop.watch(instanceSocket, [instanceSocket] { closeWaitingConnections(instanceSocket); });
    }
    runtime->launch();
    int status = loop.run();
    runtime->finish();
    return status;
}

}  // namespace tarn::agent
