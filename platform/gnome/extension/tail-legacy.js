
/* exported init */
function init() {
    return {enable: tarnEnable, disable: tarnDisable};
}
