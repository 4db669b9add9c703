#pragma once

#include <QWidget>
#include <functional>
#include <optional>

#include "agent/config_store.h"
#include "platform/key_source.h"

class QPushButton;
class QStackedWidget;
class QTableView;

namespace tarn::agent::ui {

class GlobalRuleEditPanel;
class GlobalRulesModel;

// The settings window's pane for the global rules: the table, "Add Rule…" and "Remove
// Selected", and under them the editor of the selected rule.
class GlobalRulesView final : public QWidget {
    Q_OBJECT
  public:
    GlobalRulesView(ConfigStore& store, std::function<int()> screenCount,
                    QWidget* parent = nullptr);

    // Appends the rule a new hotkey starts as (⌥⇧⌘K moving the window left) and selects it.
    void addGlobalRule();
    void removeSelected();

    std::optional<Uuid> selectedRuleID() const { return selected_; }
    void selectRule(std::optional<Uuid> id);

    GlobalRulesModel* model() const { return model_; }
    QTableView* table() const { return table_; }
    // The editor on show, absent while no rule is selected.
    GlobalRuleEditPanel* editor() const { return editor_; }
    void setChordStatus(const std::vector<platform::ChordStatus>& status);
    void setChordPass(platform::ChordPass pass);

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void syncTableSelection();
    void showEditor();

    ConfigStore& store_;
    std::function<int()> screenCount_;
    GlobalRulesModel* model_ = nullptr;
    QTableView* table_ = nullptr;
    QPushButton* remove_ = nullptr;
    QStackedWidget* detail_ = nullptr;
    GlobalRuleEditPanel* editor_ = nullptr;
    std::optional<Uuid> selected_;
    platform::ChordPass pass_ = platform::ChordPass::replayed;
};

}  // namespace tarn::agent::ui
