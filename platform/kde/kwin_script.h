#pragma once

// The text of the KWin scripts Tarn loads. KWin's scripting API renamed its window calls in
// Plasma 6 (workspace.activeClient became activeWindow, clientList() became windowList(),
// screens became output objects), so each script is written for the API of the KWin that
// runs it. Pure text: nothing here talks to KWin.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarn::platform::kde {

struct KWinVersion {
    int major = 0;
    int minor = 0;
    friend bool operator==(const KWinVersion&, const KWinVersion&) = default;
};

// The version in KWin's support information ("KWin version: 5.27.5"); absent when the text
// names none.
std::optional<KWinVersion> parseKWinVersion(std::string_view supportInformation);

enum class ScriptApi { plasma5, plasma6 };
ScriptApi scriptApiFor(KWinVersion version);

// Where a script sends its calls: the bus name of the process that loaded it, and the object
// and interface that process serves.
struct CallBack {
    std::string busName;
    std::string path;
    std::string interface;
};

// The resident script that serves one process's window requests for as long as it lives.
// It calls `next(answer)` on the caller and gets back the next request as the reply: a JSON
// text {"op": ..., ...} for which it calls next again with {"ok": result} or
// {"error": "why"}; {"op":"idle"} is answered with an empty answer, and {"op":"quit"} ends
// the loop (the script is unloaded only then: KWin stops running new scripts after one was
// unloaded with a call of its own still open). Its first call carries
// the empty answer; a script that cannot start calls `failed(why)` instead.
//
// Requests: active (the active window), windows (the normal windows, KWin's order), frame
// {id}, place {id, x, y, w, h} (restored from maximised or full screen first), minimize {id,
// on}, activate {id} (restored first), outputs (in KWin's order: {g: geometry, u: usable
// area}), cursor (where the pointer is). A window is {id, cls, pid, caption, minimized}; its
// id is the first 16 hex digits of KWin's UUID for it, stable for the window's life and
// across processes. A frame is {frame: {x, y, w, h}, minimized}; a window that is gone is
// null (for frame) or false (for what changes it).
std::string windowScript(ScriptApi api, const CallBack& callBack);

// One global shortcut of the agent: its name (unique, and Tarn's: "tarn-...") and its key
// sequence text ("Meta+Ctrl+Right").
struct Shortcut {
    std::string name;
    std::string keys;
};

// The agent's resident script: registers each shortcut with KWin (registerShortcut, filed
// by kglobalaccel under KWin's component) and calls `pressed(name)` on the caller when one
// fires; `ready("")` once all are registered. Shortcuts cannot be taken back by a script:
// the caller follows a new set by loading a new script and unregistering the names it no
// longer uses.
std::string agentScript(ScriptApi api, const CallBack& callBack,
                        const std::vector<Shortcut>& shortcuts);

// The script that follows the desktop for the agent: calls `activated("")` when the active
// window changes and `changed("")` when a window comes or goes; `ready("")` at start.
std::string eventsScript(ScriptApi api, const CallBack& callBack);

}  // namespace tarn::platform::kde
