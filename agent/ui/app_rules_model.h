#pragma once

#include <QAbstractTableModel>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/config_store.h"

namespace tarn::agent::ui {

// The global rules as one application inherits them: "Enabled", "Hotkey", "Action",
// "Custom", one row per global rule in stored order. It follows the store.
class AppRulesModel final : public QAbstractTableModel {
    Q_OBJECT
  public:
    enum Column { enabled, hotkey, action, custom, columnCount_ };
    static constexpr int RuleIdRole = Qt::UserRole + 1;
    // On the "Enabled" cell: whether the rule works for this application.
    static constexpr int EnabledRole = Qt::UserRole + 2;
    // On the "Custom" cell: whether this application gives the rule filters of its own.
    static constexpr int CustomRole = Qt::UserRole + 3;

    AppRulesModel(ConfigStore& store, std::string bundleID, QObject* parent = nullptr);
    ~AppRulesModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    int rowOf(const Uuid& id) const;
    std::optional<Uuid> idAt(int row) const;

  private:
    void reload();
    const RuleOverride* overrideOf(const HotkeyRule& rule) const;

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    std::string bundleID_;
    std::vector<HotkeyRule> rules_;
    std::map<Uuid, RuleOverride> overrides_;
};

}  // namespace tarn::agent::ui
