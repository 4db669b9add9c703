#include "agent/ui/key_recorder.h"

#include <QKeyEvent>
#include <array>
#include <utility>

#include "core/keys/key_tables.h"

namespace tarn::agent::ui {
namespace {

// Keys that type no character, by the key table's name for them.
constexpr std::array<std::pair<int, const char*>, 23> kNamedKeys{{
    {Qt::Key_Escape, "escape"},
    {Qt::Key_Return, "return"},
    {Qt::Key_Tab, "tab"},
    {Qt::Key_Backtab, "tab"},
    {Qt::Key_Space, "space"},
    {Qt::Key_Backspace, "delete"},
    {Qt::Key_Delete, "forwarddelete"},
    {Qt::Key_Left, "left"},
    {Qt::Key_Right, "right"},
    {Qt::Key_Up, "up"},
    {Qt::Key_Down, "down"},
    {Qt::Key_Home, "home"},
    {Qt::Key_End, "end"},
    {Qt::Key_PageUp, "pageup"},
    {Qt::Key_PageDown, "pagedown"},
    {Qt::Key_VolumeUp, "volumeup"},
    {Qt::Key_VolumeDown, "volumedown"},
    {Qt::Key_VolumeMute, "mute"},
    {Qt::Key_BraceLeft, "leftbrace"},
    {Qt::Key_BraceRight, "rightbrace"},
    {Qt::Key_QuoteDbl, "doublequote"},
    {Qt::Key_Enter, "return"},
    {Qt::Key_Clear, "keypadclear"},
}};

// The keypad's own keys, which type the same characters as the main block.
constexpr std::array<std::pair<char, const char*>, 6> kKeypadSymbols{{
    {'.', "keypaddecimal"},
    {'*', "keypadmultiply"},
    {'+', "keypadplus"},
    {'/', "keypaddivide"},
    {'-', "keypadminus"},
    {'=', "keypadequals"},
}};

std::optional<std::uint16_t> byName(const std::string& name) {
    const auto& table = keys::keyMap();
    auto it = table.find(name);
    if (it == table.end()) return std::nullopt;
    return it->second;
}

}  // namespace

std::optional<std::uint16_t> recordedKeyCode(int qtKey, Qt::KeyboardModifiers modifiers) {
    if (modifiers & Qt::KeypadModifier) {
        if (qtKey >= Qt::Key_0 && qtKey <= Qt::Key_9) {
            return byName("keypad" + std::string(1, static_cast<char>(qtKey)));
        }
        if (qtKey == Qt::Key_Enter) return byName("keypadenter");
        for (auto [symbol, name] : kKeypadSymbols) {
            if (qtKey == symbol) return byName(name);
        }
    }
    if (qtKey >= Qt::Key_F1 && qtKey <= Qt::Key_F20) {
        return byName("f" + std::to_string(qtKey - Qt::Key_F1 + 1));
    }
    for (auto [key, name] : kNamedKeys) {
        if (qtKey == key) return byName(name);
    }
    // Printable keys: the character they type, through the plain-text table (which knows
    // that "!" is Shift and the "1" key). Letters arrive as their capitals.
    if (qtKey > 0x20 && qtKey < 0x7f) {
        const keys::PlainKey& key = keys::plainKeys()[static_cast<std::size_t>(qtKey)];
        if (key.typed) return key.code;
    }
    return std::nullopt;
}

KeyRecorder::KeyRecorder(QWidget* parent) : QWidget(parent) {
    setFocusPolicy(Qt::NoFocus);
    setAttribute(Qt::WA_TransparentForMouseEvents);
}

void KeyRecorder::setRecording(bool recording) {
    if (recording == recording_) return;
    recording_ = recording;
    setFocusPolicy(recording ? Qt::StrongFocus : Qt::NoFocus);
    if (recording) {
        setFocus(Qt::OtherFocusReason);
    } else if (hasFocus()) {
        clearFocus();
    }
    emit recordingChanged(recording);
}

bool KeyRecorder::event(QEvent* event) {
    if (recording_) {
        // Shortcuts and focus keys (Tab) would be taken before a key press reaches us: claim
        // them while a key is awaited.
        if (event->type() == QEvent::ShortcutOverride) {
            event->accept();
            return true;
        }
        if (event->type() == QEvent::KeyPress) {
            auto* press = static_cast<QKeyEvent*>(event);
            if (auto code = recordedKeyCode(press->key(), press->modifiers())) {
                emit keyRecorded(*code);
                setRecording(false);
            }
            // A modifier pressed alone, or an unknown key: still waiting for the key itself.
            return true;
        }
    }
    return QWidget::event(event);
}

}  // namespace tarn::agent::ui
