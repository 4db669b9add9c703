// The window script written for KWin 6, run by gjs against a stand-in of KWin 6's scripting
// API (windowList(), activeWindow, output objects): no KWin 6 runs here, so this is what
// shows that its text parses and that each request reaches the Plasma 6 calls. The Plasma 5
// text runs in the real KWin 5.27 of the other KDE tests.
#include <gtest/gtest.h>

#include "platform/kde/kwin_script.h"
#include "support/files.h"
#include "tests/common/process.h"
#include "tests/common/temp_dir.h"

namespace tarn::platform::kde {
namespace {

// KWin 6 as far as the script reaches it. callDBus answers the script's calls with the
// requests in turn and prints each answer the script gives.
constexpr const char* kKWin6 = R"(
var window = {internalId: "{0123abcd-4567-89ef-0000-000000000000}", resourceClass: "Editor",
    pid: 42, caption: "Doc", minimized: false, normalWindow: true, fullScreen: true,
    frameGeometry: {x: 10, y: 20, width: 300, height: 200},
    setMaximize: function (v, h) { this.maximized = v || h; }};
var panel = {internalId: "{ffff0000-0000-0000-0000-000000000000}", normalWindow: false};
var outputs = [{geometry: {x: 0, y: 0, width: 1920, height: 1080}},
               {geometry: {x: 1920, y: 0, width: 1280, height: 1024}}];
var workspace = {
    windowList: function () { return [panel, window]; },
    activeWindow: null,
    screens: outputs,
    currentDesktop: {id: "desk"},
    cursorPos: {x: 5, y: 6},
    clientArea: function (kind, output, desktop) {
        if (kind !== KWin.MaximizeArea || desktop.id !== "desk") throw new Error("bad area");
        var g = output.geometry;
        return {x: g.x, y: g.y + 30, width: g.width, height: g.height - 30};
    }
};
var KWin = {MaximizeArea: 2};
var requests = [
    '{"op":"active"}',
    '{"op":"windows"}',
    '{"op":"place","id":"0123abcd456789ef","x":1920,"y":25,"w":800,"h":605}',
    '{"op":"frame","id":"0123abcd456789ef"}',
    '{"op":"minimize","id":"0123abcd456789ef","on":true}',
    '{"op":"activate","id":"0123abcd456789ef"}',
    '{"op":"active"}',
    '{"op":"frame","id":"ffffffffffffffff"}',
    '{"op":"outputs"}',
    '{"op":"cursor"}',
    '{"op":"quit"}'];
var served = 0;
function callDBus(bus, path, iface, member, text, then) {
    if (served > 0) print(text);
    if (served < requests.length) then(requests[served++]);
}
)";

TEST(KWin6Script, AnswersEveryRequestThroughThePlasma6Calls) {
    testing::TempDir dir;
    const auto file = dir.path() / "kwin6.js";
    support::writeFileAtomically(
        file, std::string(kKWin6) +
                  windowScript(ScriptApi::plasma6, {":1.7", "/org/tarn/KWin", "org.tarn.KWin"}));
    auto result = testing::run({"gjs", file.string()});
    ASSERT_EQ(result.status, 0) << result.out;
    const std::string window =
        R"({"id":"0123abcd456789ef","cls":"Editor","pid":42,"caption":"Doc","minimized":false})";
    EXPECT_EQ(
        result.out,
        R"({"ok":null})"
        "\n"
        R"({"ok":[)" +
            window + "]}\n" +
            R"({"ok":true})"
            "\n"
            R"({"ok":{"frame":{"x":1920,"y":25,"w":800,"h":605},"minimized":false}})"
            "\n"
            R"({"ok":true})"
            "\n"
            R"({"ok":true})"
            "\n"
            R"({"ok":)" +
            window + "}\n" +
            R"({"ok":null})"
            "\n"
            R"({"ok":[{"g":{"x":0,"y":0,"w":1920,"h":1080},"u":{"x":0,"y":30,"w":1920,"h":1050}},)"
            R"({"g":{"x":1920,"y":0,"w":1280,"h":1024},"u":{"x":1920,"y":30,"w":1280,"h":994}}]})"
            "\n"
            R"({"ok":{"x":5,"y":6}})"
            "\n");
}

}  // namespace
}  // namespace tarn::platform::kde
