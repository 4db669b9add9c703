// The native-messaging host of Tarn's browser extension: the browser starts it when the
// extension connects, and tarn reaches the extension through the host's socket.
#include <unistd.h>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "browser/host/host.h"
#include "browser/protocol/channel.h"

namespace {

// The browser is the host's parent; its program's file name tells tarn which it is.
std::string parentProgram() {
    std::error_code error;
    auto exe =
        std::filesystem::read_symlink("/proc/" + std::to_string(::getppid()) + "/exe", error);
    if (error) return "browser";
    std::string name = exe.filename().string();
    // A program replaced by an upgrade while it runs reads "chromium (deleted)".
    if (auto space = name.find(' '); space != std::string::npos) name.resize(space);
    return name.empty() ? "browser" : name;
}

// Removes the socket when the host ends, so tarn does not take it for a running browser.
struct SocketFile {
    std::filesystem::path path;
    ~SocketFile() {
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
};

}  // namespace

int main(int argc, char** argv) {
    using namespace tarn::browser;
    std::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args(argv, argv + argc);
    if (!pinnedCaller(args)) {
        std::fprintf(stderr, "tarn-browser-host: started for another extension; not answering\n");
        return 1;
    }
    auto folder = socketFolder(true);
    if (!folder.path) {
        std::fprintf(stderr, "tarn-browser-host: %s\n", folder.error.c_str());
        return 1;
    }
    SocketFile socket{*folder.path / socketName(parentProgram(), static_cast<long>(::getppid()))};
    std::string error;
    auto listening = listenAt(socket.path, error);
    if (!listening) {
        std::fprintf(stderr, "tarn-browser-host: %s\n", error.c_str());
        return 1;
    }
    return serve(STDIN_FILENO, STDOUT_FILENO, listening->get(), stderr);
}
