// wendle: the hotkey agent. Binds the configuration's key chords on the desktop, runs their
// actions, and follows the configuration file until it is told to stop.

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <string>
#include <string_view>

#include "agent/app_delegate.h"
#include "agent/hosted_desktop.h"
#include "agent/identity.h"
#include "agent/logger.h"
#include "agent/main_loop.h"
#include "core/commands/version.h"
#include "core/window/move_app.h"
#include "platform/agent_services.h"
#include "platform/desktop.h"
#include "support/app_support.h"

namespace {

using namespace tarn;
using namespace tarn::agent;

constexpr std::string_view kUsage =
    "Usage: wendle [--headless | --help | --version]\n"
    "\n"
    "Runs the Wendle hotkey agent for this desktop session: the key chords of\n"
    "wendle-config.json move windows, type keystroke sequences and move the pointer.\n"
    "\n"
    "  --headless   run without a tray icon or settings window (the only mode of this build)\n"
    "  --help       show this text\n"
    "  --version    show the version\n"
    "\n"
    "Signals: SIGTERM or SIGINT stop the agent after saving a pending change; SIGHUP\n"
    "reloads the configuration file.\n";

// A file descriptor closed with its owner.
class Fd {
  public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    ~Fd() {
        if (fd_ >= 0) ::close(fd_);
    }
    Fd(Fd&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    Fd& operator=(Fd&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }
    Fd(const Fd&) = delete;
    int get() const { return fd_; }

  private:
    int fd_;
};

// One agent per user session: a lock held on a file in the runtime directory for the
// agent's life (the kernel lets it go however the process ends).
std::filesystem::path lockPath() {
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    std::error_code error;
    if (runtime && runtime[0] == '/' && std::filesystem::is_directory(runtime, error)) {
        return std::filesystem::path(runtime) / "wendle.lock";
    }
    return support::getAppSupportDir(support::kAppDirName) / "wendle.lock";
}

enum class LockResult { acquired, heldByAnother, failed };

struct InstanceLock {
    LockResult result = LockResult::failed;
    Fd fd;
    std::string error;
};

InstanceLock lockInstance(const std::filesystem::path& path) {
    InstanceLock lock;
    Fd fd(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (fd.get() < 0) {
        lock.error = path.string() + ": " + std::strerror(errno);
    } else if (::flock(fd.get(), LOCK_EX | LOCK_NB) == 0) {
        lock.result = LockResult::acquired;
        lock.fd = std::move(fd);
    } else if (errno == EWOULDBLOCK) {
        lock.result = LockResult::heldByAnother;
    } else {
        lock.error = path.string() + ": " + std::strerror(errno);
    }
    return lock;
}

// Signals reach the main loop through a pipe: the handler only writes the signal's number.
int signalPipeWrite = -1;

extern "C" void onSignal(int signal) {
    int saved = errno;
    unsigned char byte = static_cast<unsigned char>(signal);
    [[maybe_unused]] ssize_t ignored = ::write(signalPipeWrite, &byte, 1);
    errno = saved;
}

}  // namespace

int main(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string_view option = argv[i];
        if (option == "--help" || option == "-h") {
            std::cout << kUsage;
            return 0;
        }
        if (option == "--version") {
            std::cout << "wendle " << commands::TarnVersion::versionString() << '\n';
            return 0;
        }
        if (option != "--headless") {
            std::cerr << "wendle: unknown option '" << option << "'\n" << kUsage;
            return 2;
        }
    }
    InstanceLock lock = lockInstance(lockPath());
    if (lock.result == LockResult::heldByAnother) {
        std::cout << "Wendle is already running in this session\n";
        return 0;
    }
    if (lock.result == LockResult::failed) {
        std::cerr << "wendle: cannot make sure only one agent runs: " << lock.error << '\n';
        return 1;
    }

    int pipeFds[2];
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        std::cerr << "wendle: " << std::strerror(errno) << '\n';
        return 1;
    }
    Fd signalRead(pipeFds[0]);
    Fd signalWrite(pipeFds[1]);
    signalPipeWrite = signalWrite.get();
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    for (int signal : {SIGTERM, SIGINT, SIGHUP}) ::sigaction(signal, &action, nullptr);
    ::signal(SIGPIPE, SIG_IGN);

    platform::AgentServices services = platform::openAgentServices();
    if (!services.keys || !services.apps) {
        std::cerr << "wendle: " << services.error << '\n';
        return 1;
    }

    // Started by hand or by a test, the agent shows its log on standard error as well.
    const char* toStderr = std::getenv("WENDLE_LOG_STDERR");
    SystemLog log(SystemLog::kQueueLimit, toStderr && *toStderr == '1'
                                              ? SystemLog::Echo::always
                                              : SystemLog::Echo::whenTerminal);
    MainLoop loop;
    HostedDesktop desktop(platform::openAgentDesktop);
    CommandContext context(std::cout, std::cerr, desktop);
    std::string keysBuffer;  // the session's: text kept from one keystroke action to the next
    ActionHost actions{context,
                       keysBuffer,
                       log,
                       &window::handleMoveApp,
                       [&] { desktop.drop(); },
                       [&] { desktop.startAction(); }};
    ConfigStore store(loop, Logger(log, LogCategory::appDelegate));
    RuleEngine engine(Logger(log, LogCategory::ruleEngine));
    AppObserver observer(*services.apps, loop);
    Logger appLog(log, LogCategory::appDelegate);

    std::optional<AppDelegate> delegate;
    delegate.emplace(AgentParts{
        .configStore = store,
        .appObserver = observer,
        .ruleEngine = engine,
        .keySource = *services.keys,
        .actions = actions,
        .mainLoop = loop,
        .log = log,
        .openDesktop = platform::openAgentDesktop,
        .ownPid = ::getpid(),
        .onDisplayLost =
            [&](const std::string& why) {
                appLog.error("The X server went away (" + why + "); Wendle stops");
                delegate->prepareToQuit();
                loop.quit(1);
            },
    });

    loop.watch(signalRead.get(), [&] {
        unsigned char received = 0;
        while (::read(signalRead.get(), &received, 1) == 1) {
            if (received == SIGHUP) {
                delegate->reloadConfiguration("SIGHUP");
            } else {
                appLog.error(std::string("Stopping on ") +
                             (received == SIGINT ? "SIGINT" : "SIGTERM"));
                delegate->prepareToQuit();
                loop.quit(0);
            }
        }
    });

    delegate->applicationDidFinishLaunching();
    int status = loop.run();
    // Pauses of a keystroke sequence still running end now; what is queued is dropped.
    desktop.quit();
    delegate.reset();
    log.flush();
    return status;
}
