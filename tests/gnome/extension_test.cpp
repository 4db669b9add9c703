// Tarn's extension as other programs meet it on the private shell: bad arguments answer a
// D-Bus error and leave the shell working; tarn without the extension, or with one of
// another version, says what to run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "platform/dbus/bus.h"
#include "tests/gnome/harness.h"

namespace tarn::gnometest {
namespace {

using ::testing::HasSubstr;

constexpr const char* kUuid = "tarn-shell@tarn";

tarn::testing::Output callTarnShell(const std::string& method,
                                    const std::vector<std::string>& args) {
    std::vector<std::string> argv{"gdbus",           "call",           "--session",
                                  "--dest",          "org.tarn.Shell", "--object-path",
                                  "/org/tarn/Shell", "--method",       "org.tarn.Shell1." + method};
    argv.insert(argv.end(), args.begin(), args.end());
    return run(argv);
}

bool extensionRuns() {
    return callTarnShell("GetVersion", {}).status == 0;
}

void setExtensionEnabled(bool enabled) {
    run({"gdbus", "call", "--session", "--dest", "org.gnome.Shell", "--object-path",
         "/org/gnome/Shell", "--method",
         std::string("org.gnome.Shell.Extensions.") + (enabled ? "Enable" : "Disable") +
             "Extension",
         kUuid});
}

// Switched off for one test, on again however it ends.
class WithoutExtension {
  public:
    WithoutExtension() {
        setExtensionEnabled(false);
        EXPECT_TRUE(eventually([] { return !extensionRuns(); }));
    }
    ~WithoutExtension() {
        setExtensionEnabled(true);
        EXPECT_TRUE(eventually([] { return extensionRuns(); }));
    }
};

struct BadCall {
    const char* method;
    std::vector<std::string> args;
    const char* error;
};

const BadCall kBadCalls[] = {
    {"Place", {"12345", "0", "0", "100", "100"}, "org.tarn.Shell1.Error.NoSuchWindow"},
    {"Frame", {"0"}, "org.tarn.Shell1.Error.NoSuchWindow"},
    {"SetMinimized", {"12345", "true"}, "org.tarn.Shell1.Error.NoSuchWindow"},
    {"GrabAccelerator", {""}, "org.tarn.Shell1.Error.InvalidArgs"},
    {"GrabAccelerator", {"<Control><Alt"}, "org.tarn.Shell1.Error.InvalidArgs"},
    {"GrabAccelerator", {"<Control><Alt>Left"}, "org.tarn.Shell1.Error.Taken"},
    {"ReleaseAccelerator", {"4242"}, "org.tarn.Shell1.Error.NotGrabbed"},
    {"Place", {"1", "1", "1", "1"}, "org.freedesktop.DBus.Error.InvalidArgs"},
};

TEST(ExtensionOnGnome, BadCallsAnswerAnErrorAndTheShellCarriesOn) {
    tarn::testing::TempDir home;
    auto app = startApp(home, "Sturdy");
    const std::string window = [] {
        auto answer = callTarnShell("FocusedWindow", {}).out;  // ((uint64 ID, ...),)
        auto at = answer.find("uint64 ");
        return at == std::string::npos ? std::string("0")
                                       : answer.substr(at + 7, answer.find(',', at) - at - 7);
    }();
    std::vector<BadCall> calls(std::begin(kBadCalls), std::end(kBadCalls));
    calls.push_back({"Place", {window, "0", "0", "0", "100"}, "org.tarn.Shell1.Error.InvalidArgs"});
    calls.push_back(
        {"Place", {window, "2147483000", "0", "1000", "100"}, "org.tarn.Shell1.Error.InvalidArgs"});
    for (const BadCall& call : calls) {
        SCOPED_TRACE(std::string(call.method) + " " + ::testing::PrintToString(call.args));
        std::vector<std::string> argv{"sh", "-c",
                                      "gdbus call --session --dest org.tarn.Shell "
                                      "--object-path /org/tarn/Shell --method "
                                      "org.tarn.Shell1.\"$0\" \"$@\" 2>&1",
                                      call.method};
        argv.insert(argv.end(), call.args.begin(), call.args.end());
        auto answer = run(argv);
        EXPECT_NE(answer.status, 0);
        EXPECT_THAT(answer.out, HasSubstr(call.error));
    }
    EXPECT_TRUE(extensionRuns());
    EXPECT_EQ(frames("Sturdy").size(), 1u);
}

TEST(ExtensionOnGnome, TarnWithoutTheExtensionSaysWhatToRun) {
    tarn::testing::TempDir home;
    WithoutExtension off;
    auto result = runTarn({"move-app", "right"}, home);
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.err,
                HasSubstr("Reason: Tarn's GNOME Shell extension is not running (is it installed "
                          "and enabled?): run `tarn-gnome-extension install`, then log out and "
                          "back in\n"));
}

// An extension of another version (a stand-in serving the interface's name) is named.
TEST(ExtensionOnGnome, TarnWithAnOldExtensionNamesBothVersions) {
    tarn::testing::TempDir home;
    WithoutExtension off;
    std::string error;
    auto bus = platform::dbus::Bus::session(error);
    ASSERT_TRUE(bus) << error;
    auto served = bus->serve("/org/tarn/Shell", [](const platform::dbus::Call& call) {
        if (call.member == "GetVersion")
            return platform::dbus::Answer{"u", {std::uint32_t{0}}, std::nullopt};
        return platform::dbus::Answer{
            "", {}, platform::dbus::Error{"org.freedesktop.DBus.Error.UnknownMethod", "no"}};
    });
    ASSERT_TRUE(bus->requestName("org.tarn.Shell", error)) << error;
    std::atomic<bool> done{false};
    std::thread server([&] {
        while (!done) bus->wait(50);
    });
    auto result = runTarn({"move-app", "right"}, home);
    done = true;
    server.join();
    EXPECT_NE(result.status, 0);
    EXPECT_THAT(result.err,
                HasSubstr("Reason: Tarn's GNOME Shell extension speaks version 0 of its "
                          "interface, this tarn needs version 2: run `tarn-gnome-extension "
                          "install`, then log out and back in\n"));
}

}  // namespace
}  // namespace tarn::gnometest

namespace tarn::gnometest {
namespace {

// The command a user installs the extension with: the build for this shell goes to the
// user's extensions and into the enabled list (the other entries kept), and comes out again.
TEST(ExtensionOnGnome, TheInstallCommandPutsItInPlaceAndTakesItAway) {
    tarn::testing::TempDir home;
    const std::string data = (home.path() / "data").string();
    // Its own settings file, and no bus: the shell under test keeps its own extensions.
    const std::string env = "HOME=" + home.path().string() + " XDG_DATA_HOME=" + data +
                            " XDG_CONFIG_HOME=" + (home.path() / "config").string() +
                            " GSETTINGS_BACKEND=keyfile DBUS_SESSION_BUS_ADDRESS=unix:path=/none ";
    auto sh = [&](const std::string& command) {
        return run({"sh", "-c", env + command + " 2>&1"});
    };
    ASSERT_EQ(sh("gsettings set org.gnome.shell enabled-extensions \"['other@x']\"").status, 0);

    auto installed = sh(TARN_GNOME_EXTENSION_COMMAND " install");
    EXPECT_EQ(installed.status, 0) << installed.out;
    const std::string target = data + "/gnome-shell/extensions/tarn-shell@tarn";
    EXPECT_EQ(installed.out,
              "Installed and enabled Tarn's GNOME Shell extension in " + target +
                  "; GNOME Shell loads it at your next login: log out and back in.\n");
    EXPECT_EQ(support::readFile(target + "/extension.js"),
              support::readFile(TARN_GNOME_LEGACY_EXTENSION "/extension.js"));
    EXPECT_EQ(sh("gsettings get org.gnome.shell enabled-extensions").out,
              "['other@x', 'tarn-shell@tarn']\n");
    // Again: still listed once.
    EXPECT_EQ(sh(TARN_GNOME_EXTENSION_COMMAND " install").status, 0);
    EXPECT_EQ(sh("gsettings get org.gnome.shell enabled-extensions").out,
              "['other@x', 'tarn-shell@tarn']\n");

    auto removed = sh(TARN_GNOME_EXTENSION_COMMAND " uninstall");
    EXPECT_EQ(removed.status, 0) << removed.out;
    EXPECT_FALSE(std::filesystem::exists(target));
    EXPECT_EQ(sh("gsettings get org.gnome.shell enabled-extensions").out, "['other@x']\n");
    EXPECT_EQ(sh(TARN_GNOME_EXTENSION_COMMAND " reinstall").status, 1);
}

}  // namespace
}  // namespace tarn::gnometest
