// The floor for hotkey-to-window-moved on GNOME: the least a program can do through Tarn's
// extension. It grabs one accelerator and, on each press, places the focused window at the
// next of two frames with the same Place call tarn makes; nothing else.
//
// usage: gjs floor_binder.js ACCELERATOR     (prints "ready" once grabbed)
const {Gio, GLib} = imports.gi;

const bus = Gio.DBus.session;
function shell(method, args, type) {
    const reply = bus.call_sync('org.tarn.Shell', '/org/tarn/Shell', 'org.tarn.Shell1', method,
        args, type ? new GLib.VariantType(type) : null, Gio.DBusCallFlags.NONE, 5000, null);
    return reply ? reply.deepUnpack() : null;
}

const action = shell('GrabAccelerator', new GLib.Variant('(s)', [ARGV[0]]), '(u)')[0];
const frames = [[0, 100, 1920, 600], [100, 100, 800, 600]];
let next = 0;
bus.signal_subscribe('org.tarn.Shell', 'org.tarn.Shell1', 'AcceleratorActivated',
    '/org/tarn/Shell', null, Gio.DBusSignalFlags.NONE, (_c, _s, _p, _i, _m, params) => {
        if (params.deepUnpack()[0] !== action)
            return;
        const window = shell('FocusedWindow', null, '((txsss))')[0][0];
        shell('Place', new GLib.Variant('(tiiii)', [window, ...frames[next]]), null);
        next = 1 - next;
    });
print('ready');
new GLib.MainLoop(null, false).run();
