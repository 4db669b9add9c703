// What Tarn's GNOME tests check the desktop with, read straight from the shell so that a
// fault in Tarn's own extension cannot hide itself: window frames and states by application,
// the pointer, the clipboard, and the few set-up steps a test needs (leave the overview,
// focus or place a window, a screenshot).
const {Gio, GLib, Shell, St} = imports.gi;
const Main = imports.ui.main;

const XML = `
<node>
  <interface name="org.tarn.TestProbe">
    <method name="Frames">
      <arg name="app" type="s" direction="in"/>
      <arg type="a(iiii)" direction="out"/>
    </method>
    <method name="Minimized">
      <arg name="app" type="s" direction="in"/>
      <arg type="ab" direction="out"/>
    </method>
    <method name="Place">
      <arg name="app" type="s" direction="in"/>
      <arg type="i" direction="in"/><arg type="i" direction="in"/>
      <arg type="i" direction="in"/><arg type="i" direction="in"/>
    </method>
    <method name="Settled"><arg type="b" direction="out"/></method>
    <method name="Focused"><arg type="s" direction="out"/></method>
    <method name="Clipboard"><arg type="s" direction="out"/></method>
    <method name="SetClipboard"><arg name="text" type="s" direction="in"/></method>
    <method name="Focus"><arg name="app" type="s" direction="in"/></method>
    <method name="Screenshot"><arg name="file" type="s" direction="in"/></method>
    <method name="Pointer"><arg type="(ii)" direction="out"/></method>
    <method name="ArmFrameWatch"><arg name="app" type="s" direction="in"/></method>
    <method name="FrameChangedAt"><arg type="x" direction="out"/></method>
  </interface>
</node>`;

function windowsOf(app) {
    return global.display.list_all_windows().filter(w => w.get_wm_class() === app)
        .sort((a, b) => a.get_stable_sequence() - b.get_stable_sequence());
}

class Probe {
    Frames(app) {
        return windowsOf(app).map(w => {
            const r = w.get_frame_rect();
            return [r.x, r.y, r.width, r.height];
        });
    }

    Minimized(app) {
        return windowsOf(app).map(w => w.minimized);
    }

    Place(app, x, y, width, height) {
        for (const w of windowsOf(app))
            w.move_resize_frame(true, x, y, width, height);
    }

    ClipboardAsync(_params, invocation) {
        St.Clipboard.get_default().get_text(St.ClipboardType.CLIPBOARD, (_c, text) => {
            invocation.return_value(new GLib.Variant('(s)', [text || '']));
        });
    }

    SetClipboard(text) {
        St.Clipboard.get_default().set_text(St.ClipboardType.CLIPBOARD, text);
    }

    // The shell has finished starting and shows no overview, whose search entry would hold
    // the keyboard.
    Settled() {
        return !Main.layoutManager._startingUp && !Main.overview.visible &&
            !Main.overview.animationInProgress;
    }

    Focused() {
        const w = global.display.get_focus_window();
        return w ? w.get_wm_class() || '' : '';
    }

    Focus(app) {
        const windows = windowsOf(app);
        if (windows.length === 0)
            throw new Error(`no window of ${app}`);
        Main.overview.hide();
        Main.activateWindow(windows[windows.length - 1], global.get_current_time());
    }

    ScreenshotAsync([file], invocation) {
        const stream = Gio.File.new_for_path(file).replace(null, false,
            Gio.FileCreateFlags.NONE, null);
        new Shell.Screenshot().screenshot(false, stream, (shot, result) => {
            try {
                shot.screenshot_finish(result);
                stream.close(null);
                invocation.return_value(null);
            } catch (e) {
                invocation.return_dbus_error('org.tarn.TestProbe.Failed', String(e));
            }
        });
    }

    // For the benchmarks: when (CLOCK_MONOTONIC, microseconds) the app's window next moves.
    ArmFrameWatch(app) {
        this.DisarmFrameWatch();
        const window = windowsOf(app)[0];
        if (!window)
            throw new Error(`no window of ${app}`);
        this._changedAt = 0;
        this._watched = window;
        const changed = () => {
            if (!this._changedAt)
                this._changedAt = GLib.get_monotonic_time();
        };
        this._watches = ['position-changed', 'size-changed'].map(signal =>
            window.connect(signal, changed));
    }

    DisarmFrameWatch() {
        if (this._watched)
            this._watches.forEach(id => this._watched.disconnect(id));
        this._watched = null;
    }

    FrameChangedAt() {
        return this._changedAt || 0;
    }

    Pointer() {
        const [x, y] = global.get_pointer();
        return [x, y];
    }
}

let exported = null;
let name = 0;
let startup = 0;

/* exported init */
function init() {
    return {
        enable() {
            exported = Gio.DBusExportedObject.wrapJSObject(XML, new Probe());
            exported.export(Gio.DBus.session, '/org/tarn/TestProbe');
            name = Gio.bus_own_name_on_connection(Gio.DBus.session, 'org.tarn.TestProbe',
                Gio.BusNameOwnerFlags.NONE, null, null);
            // The shell shows the overview once it has started, and its search entry holds
            // the keyboard.
            Main.overview.hide();
            startup = Main.layoutManager.connect('startup-complete', () => Main.overview.hide());
        },
        disable() {
            Main.layoutManager.disconnect(startup);
            Gio.bus_unown_name(name);
            exported.unexport();
            exported = null;
        },
    };
}
