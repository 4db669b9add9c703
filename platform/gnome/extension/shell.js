// Tarn's GNOME Shell extension: what an outside program may not do on GNOME's Wayland
// session (see other programs' windows, place them, hold a key chord) exported to the
// user's own session bus as org.tarn.Shell1.
//
// This file is the body of the extension. The build wraps it in a legacy head and tail for
// GNOME 43 and 44 (imports.gi, init/enable/disable) or in ES-module ones for GNOME 45 and
// later; either way the names Gio, GLib, Meta, Shell, St, Clutter and Main are in scope.
//
// Every method checks its arguments and answers a D-Bus error rather than throwing into the
// shell: a caller's mistake must never disturb the desktop.

// Raised when the interface changes in a way a caller can see; tarn asks for exactly the
// version it was built with (the two are installed together).
const TARN_INTERFACE_VERSION = 2;
const TARN_BUS_NAME = 'org.tarn.Shell';
const TARN_OBJECT_PATH = '/org/tarn/Shell';
const TARN_ERROR = 'org.tarn.Shell1.Error';

const TARN_INTERFACE_XML = `
<node>
  <interface name="org.tarn.Shell1">
    <property name="Version" type="u" access="read"/>
    <method name="GetVersion"><arg type="u" direction="out"/></method>
    <method name="FocusedWindow">
      <arg type="(txsss)" direction="out"/>
    </method>
    <method name="Windows">
      <arg name="pid" type="x" direction="in"/>
      <arg type="a(txsssb(iiii))" direction="out"/>
    </method>
    <method name="Apps"><arg type="a(xss)" direction="out"/></method>
    <method name="Frame">
      <arg name="window" type="t" direction="in"/>
      <arg type="(iiii)" direction="out"/>
    </method>
    <method name="Place">
      <arg name="window" type="t" direction="in"/>
      <arg name="x" type="i" direction="in"/>
      <arg name="y" type="i" direction="in"/>
      <arg name="width" type="i" direction="in"/>
      <arg name="height" type="i" direction="in"/>
    </method>
    <method name="IsMinimized">
      <arg name="window" type="t" direction="in"/>
      <arg type="b" direction="out"/>
    </method>
    <method name="SetMinimized">
      <arg name="window" type="t" direction="in"/>
      <arg name="minimized" type="b" direction="in"/>
    </method>
    <method name="Activate"><arg name="window" type="t" direction="in"/></method>
    <method name="Monitors"><arg type="a(iiiiiiiib)" direction="out"/></method>
    <method name="GrabAccelerator">
      <arg name="accelerator" type="s" direction="in"/>
      <arg type="u" direction="out"/>
    </method>
    <method name="ReleaseAccelerator"><arg name="action" type="u" direction="in"/></method>
    <method name="ReleaseAllAccelerators"/>
    <method name="GetClipboard"><arg type="(bs)" direction="out"/></method>
    <method name="SetClipboard"><arg name="text" type="s" direction="in"/></method>
    <method name="GetPointer"><arg type="(ii)" direction="out"/></method>
    <method name="HeldModifiers"><arg type="u" direction="out"/></method>
    <method name="WarpPointer">
      <arg name="x" type="i" direction="in"/>
      <arg name="y" type="i" direction="in"/>
    </method>
    <signal name="AcceleratorActivated"><arg name="action" type="u"/></signal>
    <signal name="FocusChanged"/>
    <signal name="AppsChanged"/>
  </interface>
</node>`;

// A failure the caller made or the desktop has; answered as a D-Bus error of its own name.
class TarnError extends Error {
    constructor(kind, message) {
        super(message);
        this.kind = kind;
    }
}

function tarnCheck(condition, kind, message) {
    if (!condition)
        throw new TarnError(kind, message);
}

const TARN_INT32_MIN = -2147483648;
const TARN_INT32_MAX = 2147483647;

function tarnWindowById(id) {
    // `t` arrives as a JavaScript number (ids are small); compare as numbers.
    const window = global.display.list_all_windows().find(w => Number(w.get_id()) === Number(id));
    tarnCheck(window, 'NoSuchWindow', `no window has the id ${id}`);
    return window;
}

// An ordinary window of an application: what a user can move about.
function tarnIsOrdinary(window) {
    const type = window.get_window_type();
    return (type === Meta.WindowType.NORMAL || type === Meta.WindowType.DIALOG ||
            type === Meta.WindowType.MODAL_DIALOG || type === Meta.WindowType.UTILITY) &&
        !window.is_override_redirect();
}

function tarnOrdinaryWindows() {
    return global.display.list_all_windows()
        .filter(tarnIsOrdinary)
        .sort((a, b) => a.get_stable_sequence() - b.get_stable_sequence());
}

// The application's identity: the Wayland app_id or the X class, as the other Linux desktops
// name it; the shell's own name for it when it knows the application.
function tarnAppId(window) {
    return window.get_wm_class() || window.get_gtk_application_id() || '';
}

function tarnAppName(window) {
    const app = Shell.WindowTracker.get_default().get_window_app(window);
    const name = app ? app.get_name() : null;
    return name || tarnAppId(window);
}

function tarnRect(r) {
    return [r.x, r.y, r.width, r.height];
}

class TarnService {
    constructor() {
        this._grabs = new Map();        // action id -> the bus name that grabbed it
        this._watches = new Map();      // bus name -> watch id
        this._signals = [];
        this._dbus = Gio.DBusExportedObject.wrapJSObject(TARN_INTERFACE_XML, this);
        this._dbus.export(Gio.DBus.session, TARN_OBJECT_PATH);
        this._nameId = Gio.bus_own_name_on_connection(Gio.DBus.session, TARN_BUS_NAME,
            Gio.BusNameOwnerFlags.NONE, null, null);
        this._connect(global.display, 'accelerator-activated', (_display, action) => {
            if (this._grabs.has(action))
                this._dbus.emit_signal('AcceleratorActivated', new GLib.Variant('(u)', [action]));
        });
        this._connect(global.display, 'notify::focus-window', () => {
            this._dbus.emit_signal('FocusChanged', null);
        });
        this._connect(Shell.AppSystem.get_default(), 'app-state-changed', () => {
            this._dbus.emit_signal('AppsChanged', null);
        });
    }

    destroy() {
        for (const [object, id] of this._signals)
            object.disconnect(id);
        this._signals = [];
        for (const action of [...this._grabs.keys()])
            this._release(action);
        Gio.bus_unown_name(this._nameId);
        this._dbus.unexport();
        this._dbus = null;
    }

    _connect(object, signal, handler) {
        this._signals.push([object, object.connect(signal, handler)]);
    }

    // Every method goes through here: its answer, or the D-Bus error it fails with.
    _answer(invocation, signature, work) {
        try {
            const result = work();
            invocation.return_value(signature ? new GLib.Variant(signature, [result]) : null);
        } catch (e) {
            if (e instanceof TarnError) {
                invocation.return_dbus_error(`${TARN_ERROR}.${e.kind}`, e.message);
            } else {
                logError(e, 'Tarn');
                invocation.return_dbus_error(`${TARN_ERROR}.Failed`, String(e));
            }
        }
    }

    get Version() {
        return TARN_INTERFACE_VERSION;
    }

    GetVersionAsync(_params, invocation) {
        this._answer(invocation, '(u)', () => TARN_INTERFACE_VERSION);
    }

    FocusedWindowAsync(_params, invocation) {
        this._answer(invocation, '((txsss))', () => {
            const w = global.display.get_focus_window();
            if (!w)
                return [0, 0, '', '', ''];
            return [w.get_id(), w.get_pid(), tarnAppId(w), tarnAppName(w), w.get_title() || ''];
        });
    }

    WindowsAsync([pid], invocation) {
        this._answer(invocation, '(a(txsssb(iiii)))', () => {
            return tarnOrdinaryWindows()
                .filter(w => pid <= 0 || w.get_pid() === pid)
                .map(w => [w.get_id(), w.get_pid(), tarnAppId(w), tarnAppName(w),
                    w.get_title() || '', w.minimized, tarnRect(w.get_frame_rect())]);
        });
    }

    // One entry per process that has an ordinary window, in the order of its first window.
    AppsAsync(_params, invocation) {
        this._answer(invocation, '(a(xss))', () => {
            const seen = new Set();
            const apps = [];
            for (const w of tarnOrdinaryWindows()) {
                const pid = w.get_pid();
                if (pid <= 0 || seen.has(pid))
                    continue;
                seen.add(pid);
                apps.push([pid, tarnAppId(w), tarnAppName(w)]);
            }
            return apps;
        });
    }

    FrameAsync([id], invocation) {
        this._answer(invocation, '((iiii))', () => tarnRect(tarnWindowById(id).get_frame_rect()));
    }

    PlaceAsync([id, x, y, width, height], invocation) {
        this._answer(invocation, null, () => {
            tarnCheck(width > 0 && height > 0, 'InvalidArgs',
                `a frame needs a positive size, not ${width}x${height}`);
            tarnCheck(x + width <= TARN_INT32_MAX && y + height <= TARN_INT32_MAX, 'InvalidArgs',
                'the frame reaches past the coordinate range');
            const window = tarnWindowById(id);
            tarnCheck(window.allows_move(), 'Refused', 'the window cannot be moved');
            if (window.is_fullscreen())
                window.unmake_fullscreen();
            if (window.get_maximized())
                window.unmaximize(Meta.MaximizeFlags.BOTH);
            // As the user's own move, so the shell places it where asked, on any monitor,
            // rather than keeping it on the one it was on.
            window.move_resize_frame(true, x, y, width, height);
        });
    }

    IsMinimizedAsync([id], invocation) {
        this._answer(invocation, '(b)', () => tarnWindowById(id).minimized);
    }

    SetMinimizedAsync([id, minimized], invocation) {
        this._answer(invocation, null, () => {
            const window = tarnWindowById(id);
            if (minimized) {
                tarnCheck(window.can_minimize(), 'Refused', 'the window cannot be minimised');
                window.minimize();
            } else {
                window.unminimize();
            }
        });
    }

    ActivateAsync([id], invocation) {
        this._answer(invocation, null, () => {
            // Main.activateWindow leaves the overview too, which would otherwise keep the
            // keyboard.
            Main.activateWindow(tarnWindowById(id), global.get_current_time());
        });
    }

    MonitorsAsync(_params, invocation) {
        this._answer(invocation, '(a(iiiiiiiib))', () => {
            const display = global.display;
            const primary = display.get_primary_monitor();
            const workspace = global.workspace_manager.get_active_workspace();
            const monitors = [];
            for (let i = 0; i < display.get_n_monitors(); i++) {
                const g = display.get_monitor_geometry(i);
                const a = workspace.get_work_area_for_monitor(i);
                monitors.push([g.x, g.y, g.width, g.height, a.x, a.y, a.width, a.height,
                    i === primary]);
            }
            return monitors;
        });
    }

    // A chord the shell or another program holds cannot be had: the answer is the Taken
    // error, so the caller can say so for that chord alone.
    GrabAcceleratorAsync([accelerator], invocation) {
        this._answer(invocation, '(u)', () => {
            tarnCheck(typeof accelerator === 'string' && accelerator.length > 0 &&
                accelerator.length < 256, 'InvalidArgs', 'an accelerator is a short text');
            tarnCheck(tarnIsAccelerator(accelerator), 'InvalidArgs',
                `"${accelerator}" is not an accelerator`);
            const action = global.display.grab_accelerator(accelerator, Meta.KeyBindingFlags.NONE);
            tarnCheck(action !== Meta.KeyBindingAction.NONE, 'Taken',
                `${accelerator} is already held by GNOME Shell or another program`);
            Main.wm.allowKeybinding(Meta.external_binding_name_for_action(action),
                Shell.ActionMode.ALL);
            const owner = invocation.get_sender();
            this._grabs.set(action, owner);
            this._watch(owner);
            return action;
        });
    }

    ReleaseAcceleratorAsync([action], invocation) {
        this._answer(invocation, null, () => {
            tarnCheck(this._grabs.get(action) === invocation.get_sender(), 'NotGrabbed',
                `the accelerator ${action} is not one this caller grabbed`);
            this._release(action);
        });
    }

    // Clears what a caller grabbed before (an agent that starts again).
    ReleaseAllAcceleratorsAsync(_params, invocation) {
        this._answer(invocation, null, () => this._releaseOwner(invocation.get_sender()));
    }

    GetClipboardAsync(_params, invocation) {
        St.Clipboard.get_default().get_text(St.ClipboardType.CLIPBOARD, (_clipboard, text) => {
            invocation.return_value(new GLib.Variant('((bs))', [[text !== null, text || '']]));
        });
    }

    SetClipboardAsync([text], invocation) {
        this._answer(invocation, null, () => {
            St.Clipboard.get_default().set_text(St.ClipboardType.CLIPBOARD, text);
        });
    }

    GetPointerAsync(_params, invocation) {
        this._answer(invocation, '((ii))', () => {
            const [x, y] = global.get_pointer();
            return [x, y];
        });
    }

    // The modifiers held on the seat now, as Clutter's mask (Shift 1, Control 4, Alt 8,
    // Super 0x4000000): a passed chord is typed again once its keys are let go.
    HeldModifiersAsync(_params, invocation) {
        this._answer(invocation, '(u)', () => {
            const [, , mods] = global.get_pointer();
            return mods & (Clutter.ModifierType.SHIFT_MASK | Clutter.ModifierType.CONTROL_MASK |
                Clutter.ModifierType.MOD1_MASK | Clutter.ModifierType.SUPER_MASK |
                Clutter.ModifierType.MOD4_MASK);
        });
    }

    WarpPointerAsync([x, y], invocation) {
        this._answer(invocation, null, () => {
            Clutter.get_default_backend().get_default_seat().warp_pointer(x, y);
        });
    }

    _watch(owner) {
        if (this._watches.has(owner))
            return;
        // A caller that goes away (an agent that crashed) leaves no chord held behind it.
        this._watches.set(owner, Gio.bus_watch_name_on_connection(Gio.DBus.session, owner,
            Gio.BusNameWatcherFlags.NONE, null, () => this._releaseOwner(owner)));
    }

    _releaseOwner(owner) {
        for (const [action, holder] of [...this._grabs])
            if (holder === owner)
                this._release(action);
        const watch = this._watches.get(owner);
        if (watch !== undefined) {
            Gio.bus_unwatch_name(watch);
            this._watches.delete(owner);
        }
    }

    _release(action) {
        this._grabs.delete(action);
        global.display.ungrab_accelerator(action);
        Main.wm.allowKeybinding(Meta.external_binding_name_for_action(action), Shell.ActionMode.NONE);
    }
}

// Whether the text reads as an accelerator ("<Control><Alt>e", "<Super>Left"); the shell
// decides whether it names a key.
function tarnIsAccelerator(text) {
    return /^(<[A-Za-z0-9_]+>)*[A-Za-z0-9_]+$/.test(text);
}

let tarnService = null;

function tarnEnable() {
    tarnService = new TarnService();
}

function tarnDisable() {
    if (tarnService)
        tarnService.destroy();
    tarnService = null;
}
