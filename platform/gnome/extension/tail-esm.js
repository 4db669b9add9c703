
export default class TarnExtension extends Extension {
    enable() {
        tarnEnable();
    }

    disable() {
        tarnDisable();
    }
}
