#pragma once

#include <QWidget>
#include <optional>
#include <string>

#include "agent/config_store.h"
#include "agent/uuid.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QStackedWidget;
class QTableView;

namespace tarn::agent::ui {

class AlertPresenter;
class AppRulesModel;
class SavedLocationEditor;
class StateFiltersEditor;
class WindowAccess;

// One application's changes to one global rule: switched off for it, or given state filters
// of its own. Every change writes the application's override entry for the rule, even one
// equal to the default; nothing here removes an entry.
class AppRuleOverridePanel final : public QWidget {
    Q_OBJECT
  public:
    AppRuleOverridePanel(ConfigStore& store, std::string bundleID, Uuid ruleId,
                         QWidget* parent = nullptr);
    ~AppRuleOverridePanel() override;

    const Uuid& ruleId() const { return ruleId_; }
    // The stored override; absent when the application has none for the rule.
    std::optional<RuleOverride> override() const;
    bool isHorizontalAction() const;

  private:
    const HotkeyRule* rule() const;
    void refresh();
    void write(const RuleOverride& value);

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    std::string bundleID_;
    Uuid ruleId_;
    QLabel* title_ = nullptr;
    QLabel* hotkey_ = nullptr;
    QLabel* action_ = nullptr;
    QCheckBox* enabled_ = nullptr;
    QLabel* disabledCaption_ = nullptr;
    QWidget* filtersBlock_ = nullptr;
    QCheckBox* customize_ = nullptr;
    QLabel* usingGlobal_ = nullptr;
    QLabel* overriding_ = nullptr;
    StateFiltersEditor* filters_ = nullptr;
};

// The detail pane for one configured application: its name and "Delete App", the global
// rules as it inherits them, its saved window locations, and the editor of the selected
// rule's override.
class AppRulesView final : public QWidget {
    Q_OBJECT
  public:
    AppRulesView(ConfigStore& store, std::string bundleID, WindowAccess& windows,
                 AlertPresenter& alerts, QWidget* parent = nullptr);
    ~AppRulesView() override;

    const std::string& bundleID() const { return bundleID_; }
    std::optional<Uuid> selectedRuleID() const { return selected_; }
    void selectRule(std::optional<Uuid> id);

    AppRulesModel* model() const { return model_; }
    QTableView* table() const { return table_; }
    AppRuleOverridePanel* panel() const { return panel_; }
    SavedLocationEditor* locations() const { return locations_; }

  protected:
    void showEvent(QShowEvent* event) override;

  private:
    void refresh();
    void syncTableSelection();
    void showPanel();

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    std::string bundleID_;
    QLabel* title_ = nullptr;
    AppRulesModel* model_ = nullptr;
    QTableView* table_ = nullptr;
    SavedLocationEditor* locations_ = nullptr;
    QStackedWidget* detail_ = nullptr;
    AppRuleOverridePanel* panel_ = nullptr;
    std::optional<Uuid> selected_;
};

}  // namespace tarn::agent::ui
