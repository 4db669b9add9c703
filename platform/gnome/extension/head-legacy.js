// GNOME Shell 43 and 44: the extension as a legacy script.
const {Clutter, Gio, GLib, Meta, Shell, St} = imports.gi;
const Main = imports.ui.main;

