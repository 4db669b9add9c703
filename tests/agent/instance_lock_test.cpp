#include "agent/instance_lock.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>

#include "tests/common/temp_dir.h"

namespace tarn::agent {
namespace {

using ::testing::HasSubstr;
using Result = InstanceLock::Result;

// A name no other test run uses at the same time.
std::string uniqueName(const std::string& what) {
    return "tarn-wendle-test/" + std::to_string(::getpid()) + "/" + what;
}

std::string readAll(int fd) {
    std::string text;
    char buffer[64];
    ssize_t got;
    while ((got = ::read(fd, buffer, sizeof buffer)) > 0) text.append(buffer, got);
    return text;
}

TEST(DesktopKey, NamesTheSimulatedDesktopElseTheCompositorElseTheDisplayWithoutItsScreen) {
    const std::tuple<const char*, const char*, const char*, const char*> cases[] = {
        {nullptr, ":7", nullptr, "x11::7"},
        {nullptr, "unix/unix:7.1", nullptr, "x11::7"},
        {nullptr, "localhost:10.0", nullptr, "x11:localhost:10"},  // over SSH: another display
        {nullptr, nullptr, nullptr, "none"},
        {"/tmp/a/../desk.json", ":7", "wayland-1", "sim:/tmp/desk.json"},
        // With XWayland beside it, the compositor names the session.
        {nullptr, ":7", "wayland-1", "wayland:/run/user/7/wayland-1"},
        {nullptr, nullptr, "/tmp/w/../wayland-2", "wayland:/tmp/wayland-2"},
    };
    testing::ScopedEnv runtimeEnv("XDG_RUNTIME_DIR", "/run/user/7");
    for (const auto& [sim, display, wayland, key] : cases) {
        testing::ScopedEnv simEnv("TARN_SIM_DESKTOP", sim);
        testing::ScopedEnv displayEnv("DISPLAY", display);
        testing::ScopedEnv waylandEnv("WAYLAND_DISPLAY", wayland);
        EXPECT_EQ(desktopKey(), key);
    }
    EXPECT_LE(instanceSocketName(1000, "sim:/" + std::string(300, 'd')).size(), 100u);
}

// The lock is no file: nothing on disk decides, and nothing deleted lets a second agent in.
TEST(InstanceLock, OneHolderPerNameUntilItGoesAndALaterLaunchCanAskForTheSettings) {
    testing::TempDir dir;
    const std::string name = uniqueName("one");
    InstanceLock first = lockInstanceAt(name, dir.path() / "fallback.lock");
    ASSERT_EQ(first.result, Result::acquired) << first.error;
    EXPECT_TRUE(first.listening);
    EXPECT_TRUE(first.warning.empty());
    EXPECT_FALSE(std::filesystem::exists(dir.path() / "fallback.lock"));

    InstanceLock second = lockInstanceAt(name, dir.path() / "fallback.lock");
    EXPECT_EQ(second.result, Result::heldByAnother);
    EXPECT_TRUE(askToShowSettings(second));
    int request = ::accept4(first.fd.get(), nullptr, nullptr, SOCK_CLOEXEC);
    ASSERT_GE(request, 0);
    EXPECT_EQ(readAll(request), "show-settings\n");
    ::close(request);

    // Launches that only look are let go by the holder without a word.
    InstanceLock third = lockInstanceAt(name, dir.path() / "fallback.lock");
    EXPECT_EQ(third.result, Result::heldByAnother);
    closeWaitingConnections(first.fd.get());
    char byte;
    EXPECT_EQ(::read(third.running.get(), &byte, 1), 0);  // closed by the holder

    first = InstanceLock();  // the agent ends: the kernel lets the name go
    EXPECT_EQ(lockInstanceAt(name, dir.path() / "fallback.lock").result, Result::acquired);
}

// A name held by something that is no agent (it never listens): the lock file decides.
TEST(InstanceLock, ANameHeldByAProcessThatDoesNotAnswerFallsBackToTheLockFile) {
    testing::TempDir dir;
    const std::string name = uniqueName("squatted");
    Fd squatter(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data(), name.size());
    ASSERT_EQ(::bind(squatter.get(), reinterpret_cast<sockaddr*>(&address),
                     static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + 1 + name.size())),
              0);

    const auto file = dir.path() / "Tarn" / "wendle-x11__0.lock";
    InstanceLock first = lockInstanceAt(name, file);
    ASSERT_EQ(first.result, Result::acquired) << first.error;
    EXPECT_FALSE(first.listening);
    EXPECT_THAT(first.warning,
                HasSubstr("@" + name + " is held by a process that does not answer"));
    EXPECT_THAT(first.warning,
                HasSubstr("the lock file " + file.string() + " keeps to one agent instead"));
    EXPECT_EQ(lockInstanceAt(name, file).result, Result::heldByAnother);
    EXPECT_FALSE(askToShowSettings(first));  // no connection to ask on

    // Neither the socket nor the file: no agent starts, and it says why.
    InstanceLock refused = lockInstanceAt(name, "/proc/no/such/dir/wendle.lock");
    EXPECT_EQ(refused.result, Result::failed);
    EXPECT_THAT(refused.error, HasSubstr("/proc/no/such/dir/wendle.lock: "));
    EXPECT_TRUE(refused.warning.empty());
}

}  // namespace
}  // namespace tarn::agent
