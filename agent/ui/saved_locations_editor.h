#pragma once

#include <QFrame>
#include <array>
#include <string>

#include "agent/config_store.h"

class QLabel;
class QPushButton;

namespace tarn::agent::ui {

class AlertPresenter;
class WindowAccess;

// An application's saved window locations: three slots for the first three entries, each
// filled by reading where the application's first window is now ("Record Here") or emptied
// ("Clear", which moves the later entries down one slot). Writes go through the store.
class SavedLocationEditor final : public QWidget {
    Q_OBJECT
  public:
    SavedLocationEditor(ConfigStore& store, std::string bundleID, WindowAccess& windows,
                        AlertPresenter& alerts, QWidget* parent = nullptr);
    ~SavedLocationEditor() override;

    // Reads the application's first window and stores its frame and screen in the slot
    // (counted from 0); tells the user, and changes nothing, when that cannot be done.
    void recordCurrentLocation(std::size_t slot);
    void clearLocation(std::size_t slot);

  private:
    struct Slot {
        QFrame* box = nullptr;
        QLabel* screen = nullptr;
        QLabel* position = nullptr;
        QLabel* size = nullptr;
        QLabel* empty = nullptr;
        QPushButton* clear = nullptr;
    };
    const AppConfig* app() const;
    void refresh();
    void showError(const QString& message);

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    std::string bundleID_;
    WindowAccess& windows_;
    AlertPresenter& alerts_;
    std::array<Slot, 3> slots_{};
};

// A coordinate as the slots show it: whole, its fraction cut off (100.9 shows as 100).
QString wholeNumberText(double value);

}  // namespace tarn::agent::ui
