#pragma once

#include <QWidget>
#include <cstdint>
#include <optional>

namespace tarn::agent::ui {

// The macOS virtual key code of a pressed key, found through the keys language's own key
// table so that a recorded key types and grabs the same key everywhere else. Modifiers are
// not part of it (Shift+1 is the "1" key). Absent for a modifier key pressed alone and for
// keys the table does not know.
std::optional<std::uint16_t> recordedKeyCode(int qtKey, Qt::KeyboardModifiers modifiers);

// An invisible widget behind an editor's hotkey row. While recording it holds the keyboard
// focus and takes the next key, whatever it is (Escape, Return and Tab included), reports
// its key code and stops recording; otherwise it refuses focus and keys go where they would.
class KeyRecorder final : public QWidget {
    Q_OBJECT
  public:
    explicit KeyRecorder(QWidget* parent = nullptr);

    bool isRecording() const { return recording_; }
    void setRecording(bool recording);

  signals:
    void keyRecorded(std::uint16_t keyCode);
    void recordingChanged(bool recording);

  protected:
    bool event(QEvent* event) override;

  private:
    bool recording_ = false;
};

}  // namespace tarn::agent::ui
