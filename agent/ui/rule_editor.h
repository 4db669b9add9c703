#pragma once

#include <QWidget>
#include <functional>

#include "agent/config_store.h"
#include "agent/uuid.h"

class QButtonGroup;
class QCheckBox;
class QComboBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QStackedWidget;

namespace tarn::agent::ui {

class KeyRecorder;
class StateFiltersEditor;

// The editor of one global rule, found by its identifier in the store. Each control writes
// its field straight into the store; the panel redraws from the store whenever it
// republishes, so the shown values are always the stored ones.
class GlobalRuleEditPanel final : public QWidget {
    Q_OBJECT
  public:
    // `screenCount` gives the number of screens attached now (for the mouse target picker).
    GlobalRuleEditPanel(ConfigStore& store, Uuid ruleId, std::function<int()> screenCount,
                        QWidget* parent = nullptr);
    ~GlobalRuleEditPanel() override;

    const Uuid& ruleId() const { return ruleId_; }
    // What letting the key through means on this desktop, noted under "Swallow Key".
    void setChordPass(platform::ChordPass pass);
    bool isHorizontalAction() const;
    bool isRecording() const;

  private:
    const HotkeyRule* rule() const;
    int ruleIndex() const;
    void build();
    void refresh();
    void change(const std::function<void(HotkeyRule&)>& edit);
    void recorded(std::uint16_t keyCode);

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    Uuid ruleId_;
    std::function<int()> screenCount_;

    QStackedWidget* pages_ = nullptr;
    QLabel* chordLabel_ = nullptr;
    QLabel* keyLabel_ = nullptr;
    QPushButton* recordButton_ = nullptr;
    KeyRecorder* recorder_ = nullptr;
    std::array<QCheckBox*, 4> modifierBoxes_{};
    QButtonGroup* actionKinds_ = nullptr;
    QStackedWidget* actionPages_ = nullptr;
    QComboBox* direction_ = nullptr;
    QLineEdit* sequence_ = nullptr;
    QComboBox* mouseTarget_ = nullptr;
    QWidget* screenRow_ = nullptr;
    QComboBox* screen_ = nullptr;
    QComboBox* position_ = nullptr;
    QCheckBox* swallow_ = nullptr;
    QLabel* passNote_ = nullptr;  // what the desktop does with the key the rule lets through
    platform::ChordPass pass_ = platform::ChordPass::replayed;
    QComboBox* overrideTarn_ = nullptr;
    QWidget* filtersBlock_ = nullptr;
    StateFiltersEditor* filters_ = nullptr;
};

}  // namespace tarn::agent::ui
