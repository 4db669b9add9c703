// Presses keys on the private GNOME Shell the way another program would: through a Mutter
// RemoteDesktop session of its own (a connection of its own, never Tarn's). Each argument is
// a chord of X key symbol names joined by "+" ("Control_L+Alt_L+e"): its keys go down in
// order and come up in reverse.
//
// With --hold it presses nothing and keeps its session until it is ended: the keyboard a
// real desktop has plugged in, without which the headless shell's seat has none and a client
// only gets one while some program's session lasts.
//
// usage: gjs press.js [--stamp] CHORD...  |  gjs press.js --hold
const {Gio, GLib} = imports.gi;

function call(path, iface, method, args, type) {
    const reply = Gio.DBus.session.call_sync('org.gnome.Mutter.RemoteDesktop', path, iface,
        method, args, type ? new GLib.VariantType(type) : null, Gio.DBusCallFlags.NONE, 5000,
        null);
    return reply ? reply.deepUnpack() : null;
}

// The shell answers before Mutter's remote desktop does, just after it started: try a while.
let session = null;
for (let tries = 0; !session; tries++) {
    try {
        session = call('/org/gnome/Mutter/RemoteDesktop', 'org.gnome.Mutter.RemoteDesktop',
            'CreateSession', null, '(o)')[0];
    } catch (e) {
        if (tries >= 100)
            throw e;
        GLib.usleep(100000);
    }
}
const SESSION = 'org.gnome.Mutter.RemoteDesktop.Session';
call(session, SESSION, 'Start', null, null);

function key(name, down) {
    call(session, SESSION, 'NotifyKeyboardKeysym',
        new GLib.Variant('(ub)', [KEYSYMS[name] ?? name.codePointAt(0), down]), null);
}

// The names the tests use; single characters stand for themselves.
const KEYSYMS = {
    Shift_L: 0xffe1, Control_L: 0xffe3, Alt_L: 0xffe9, Super_L: 0xffeb,
    Left: 0xff51, Up: 0xff52, Right: 0xff53, Down: 0xff54, Return: 0xff0d,
};

// Mutter makes the session's keyboard at its first key, and a key sent while it comes up is
// lost: a Shift tap goes first.
key('Shift_L', true);
key('Shift_L', false);
if (ARGV[0] === '--hold') {
    GLib.usleep(300000);
    print('holding');
    new GLib.MainLoop(null, false).run();
}
GLib.usleep(300000);
// --stamp: print when (CLOCK_MONOTONIC, microseconds) the first chord's keys go out.
const stamp = ARGV[0] === '--stamp';
for (const chord of ARGV.slice(stamp ? 1 : 0)) {
    if (stamp)
        print(GLib.get_monotonic_time());
    const keys = chord.split('+');
    keys.forEach(k => key(k, true));
    keys.slice().reverse().forEach(k => key(k, false));
}
// Let the keys reach the shell before the session ends with this connection.
GLib.usleep(200000);
call(session, SESSION, 'Stop', null, null);
