#include "platform/kde/kwin_script.h"

#include <charconv>

#include "support/json_text.h"

namespace tarn::platform::kde {
namespace {

// The calls that differ between the two APIs, as JavaScript fragments.
struct Names {
    const char* windows;   // an expression: every window KWin manages
    const char* active;    // an expression: the active window, or null
    const char* activate;  // a statement on `w`
    const char* outputs;   // a function body returning [{g: geometry, u: usable area}]
};

const Names kPlasma5{
    "workspace.clientList()",
    "workspace.activeClient",
    "workspace.activeClient = w;",
    R"(var list = [];
    for (var i = 0; i < workspace.numScreens; i++)
        list.push({g: rect(workspace.clientArea(KWin.ScreenArea, i, workspace.currentDesktop)),
                   u: rect(workspace.clientArea(KWin.MaximizeArea, i, workspace.currentDesktop))});
    return list;)",
};

const Names kPlasma6{
    "workspace.windowList()",
    "workspace.activeWindow",
    "workspace.activeWindow = w;",
    R"(var list = [];
    var screens = workspace.screens;
    for (var i = 0; i < screens.length; i++)
        list.push({g: rect(screens[i].geometry),
                   u: rect(workspace.clientArea(KWin.MaximizeArea, screens[i], workspace.currentDesktop))});
    return list;)",
};

// The serving loop: one call out per answer, whose reply is the next request.
constexpr const char* kWindowScript = R"((function () {
"use strict";
var target = @TARGET@;
function call(member, text, then) {
    callDBus(target.bus, target.path, target.iface, member, text, then);
}
function rect(r) { return {x: r.x, y: r.y, w: r.width, h: r.height}; }
function windows() { return @WINDOWS@; }
function focused() { return @ACTIVE@; }
function activate(w) { @ACTIVATE@ }
function outputs() {
    @OUTPUTS@
}
function key(w) {
    return String(w.internalId).replace(/[^0-9a-fA-F]/g, "").substring(0, 16).toLowerCase();
}
function describe(w) {
    return {id: key(w), cls: String(w.resourceClass), pid: w.pid, caption: String(w.caption),
            minimized: w.minimized};
}
function find(id) {
    var all = windows();
    for (var i = 0; i < all.length; i++)
        if (key(all[i]) === id) return all[i];
    return null;
}
var ops = {
    active: function () { var w = focused(); return w ? describe(w) : null; },
    windows: function () {
        var all = windows(), list = [];
        for (var i = 0; i < all.length; i++)
            if (all[i].normalWindow) list.push(describe(all[i]));
        return list;
    },
    frame: function (q) {
        var w = find(q.id);
        return w ? {frame: rect(w.frameGeometry), minimized: w.minimized} : null;
    },
    place: function (q) {
        var w = find(q.id);
        if (!w) return false;
        if (w.fullScreen) w.fullScreen = false;
        w.setMaximize(false, false);
        w.frameGeometry = {x: q.x, y: q.y, width: q.w, height: q.h};
        return true;
    },
    minimize: function (q) {
        var w = find(q.id);
        if (w) w.minimized = q.on;
        return !!w;
    },
    activate: function (q) {
        var w = find(q.id);
        if (!w) return false;
        w.minimized = false;
        activate(w);
        return true;
    },
    outputs: outputs,
    cursor: function () { var p = workspace.cursorPos; return {x: p.x, y: p.y}; }
};
function serve(text) {
    var answer = "";
    try {
        var request = JSON.parse(text);
        if (request.op === "quit") return;
        if (request.op !== "idle") {
            if (!ops.hasOwnProperty(request.op)) throw new Error("no request named " + request.op);
            answer = JSON.stringify({ok: ops[request.op](request)});
        }
    } catch (e) {
        answer = JSON.stringify({error: String(e)});
    }
    call("next", answer, serve);
}
call("next", "", serve);
})();
)";

constexpr const char* kAgentScript = R"((function () {
"use strict";
var target = @TARGET@;
var shortcuts = @SHORTCUTS@;
function call(member, text) {
    callDBus(target.bus, target.path, target.iface, member, text);
}
shortcuts.forEach(function (s) {
    registerShortcut(s.name, "Tarn: " + s.keys, s.keys, function () { call("pressed", s.name); });
});
call("ready", "");
})();
)";

constexpr const char* kEventsScript = R"((function () {
"use strict";
var target = @TARGET@;
function call(member) {
    callDBus(target.bus, target.path, target.iface, member, "");
}
workspace.@ACTIVATED@.connect(function () { call("activated"); });
workspace.@ADDED@.connect(function () { call("changed"); });
workspace.@REMOVED@.connect(function () { call("changed"); });
call("ready");
})();
)";

void replace(std::string& text, std::string_view marker, std::string_view with) {
    auto at = text.find(marker);
    if (at != std::string::npos) text.replace(at, marker.size(), with);
}

}  // namespace

std::optional<KWinVersion> parseKWinVersion(std::string_view text) {
    constexpr std::string_view label = "KWin version: ";
    auto at = text.find(label);
    if (at == std::string_view::npos) return std::nullopt;
    const char* p = text.data() + at + label.size();
    const char* end = text.data() + text.size();
    KWinVersion version;
    auto major = std::from_chars(p, end, version.major);
    if (major.ec != std::errc() || major.ptr == end || *major.ptr != '.') return std::nullopt;
    auto minor = std::from_chars(major.ptr + 1, end, version.minor);
    if (minor.ec != std::errc()) return std::nullopt;
    return version;
}

ScriptApi scriptApiFor(KWinVersion version) {
    return version.major >= 6 ? ScriptApi::plasma6 : ScriptApi::plasma5;
}

namespace {

std::string targetJson(const CallBack& callBack) {
    support::Json target = support::Json::object();
    target["bus"] = callBack.busName;
    target["path"] = callBack.path;
    target["iface"] = callBack.interface;
    return support::writeJson(target);
}

}  // namespace

std::string windowScript(ScriptApi api, const CallBack& callBack) {
    const Names& names = api == ScriptApi::plasma6 ? kPlasma6 : kPlasma5;
    std::string text = kWindowScript;
    replace(text, "@TARGET@", targetJson(callBack));
    replace(text, "@WINDOWS@", names.windows);
    replace(text, "@ACTIVE@", names.active);
    replace(text, "@ACTIVATE@", names.activate);
    replace(text, "@OUTPUTS@", names.outputs);
    return text;
}

std::string agentScript(ScriptApi, const CallBack& callBack,
                        const std::vector<Shortcut>& shortcuts) {
    // registerShortcut and callDBus are the same in both APIs.
    support::Json list = support::Json::array();
    for (const Shortcut& shortcut : shortcuts)
        list.push_back({{"name", shortcut.name}, {"keys", shortcut.keys}});
    std::string text = kAgentScript;
    replace(text, "@TARGET@", targetJson(callBack));
    replace(text, "@SHORTCUTS@", support::writeJson(list));
    return text;
}

std::string eventsScript(ScriptApi api, const CallBack& callBack) {
    const bool six = api == ScriptApi::plasma6;
    std::string text = kEventsScript;
    replace(text, "@TARGET@", targetJson(callBack));
    replace(text, "@ACTIVATED@", six ? "windowActivated" : "clientActivated");
    replace(text, "@ADDED@", six ? "windowAdded" : "clientAdded");
    replace(text, "@REMOVED@", six ? "windowRemoved" : "clientRemoved");
    return text;
}

}  // namespace tarn::platform::kde
