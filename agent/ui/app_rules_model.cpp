#include "agent/ui/app_rules_model.h"

#include <QColor>
#include <algorithm>

#include "agent/ui/render_action.h"
#include "agent/ui/style.h"
#include "agent/ui/symbols.h"

namespace tarn::agent::ui {
namespace {

std::map<Uuid, RuleOverride> overridesOf(const RootConfig& config, const std::string& bundleID) {
    for (const auto& app : config.appConfigs) {
        if (app.bundleID == bundleID) return app.ruleOverrides;
    }
    return {};
}

}  // namespace

AppRulesModel::AppRulesModel(ConfigStore& store, std::string bundleID, QObject* parent)
    : QAbstractTableModel(parent),
      store_(store),
      bundleID_(std::move(bundleID)),
      rules_(store.config().globalRules),
      overrides_(overridesOf(store.config(), bundleID_)) {
    listener_ = store_.addListener([this] { reload(); });
}

AppRulesModel::~AppRulesModel() {
    store_.removeListener(listener_);
}

void AppRulesModel::reload() {
    const auto& next = store_.config().globalRules;
    auto overrides = overridesOf(store_.config(), bundleID_);
    if (next == rules_ && overrides == overrides_) return;
    bool sameRows = std::equal(rules_.begin(), rules_.end(), next.begin(), next.end(),
                               [](const auto& a, const auto& b) { return a.id == b.id; });
    if (!sameRows) beginResetModel();
    rules_ = next;
    overrides_ = std::move(overrides);
    if (!sameRows) {
        endResetModel();
    } else if (!rules_.empty()) {
        // Edits in place keep the rows, and with them the selection.
        emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount_ - 1));
    }
}

int AppRulesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rules_.size());
}

int AppRulesModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columnCount_;
}

QVariant AppRulesModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
        case enabled:
            return QStringLiteral("Enabled");
        case hotkey:
            return QStringLiteral("Hotkey");
        case action:
            return QStringLiteral("Action");
        case custom:
            return QStringLiteral("Custom");
        default:
            return {};
    }
}

const RuleOverride* AppRulesModel::overrideOf(const HotkeyRule& rule) const {
    auto it = overrides_.find(rule.id);
    return it == overrides_.end() ? nullptr : &it->second;
}

QVariant AppRulesModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const HotkeyRule& rule = rules_[static_cast<std::size_t>(index.row())];
    if (role == RuleIdRole) return qt(rule.id.text());
    const RuleOverride* override = overrideOf(rule);
    bool on = !override || override->enabled;
    bool customised = override && override->stateFilters;
    switch (index.column()) {
        case enabled:
            if (role == EnabledRole) return on;
            if (role == Qt::DecorationRole) {
                return symbolIcon(on ? Symbol::checkmarkCircleFill : Symbol::circle);
            }
            if (role == Qt::AccessibleTextRole) return on ? "Enabled" : "Disabled";
            return {};
        case hotkey:
            return role == Qt::DisplayRole ? QVariant(qt(rule.chord.displayName())) : QVariant();
        case action:
            return role == Qt::DisplayRole ? QVariant(qt(renderAction(rule.action))) : QVariant();
        case custom:
            if (role == CustomRole) return customised;
            if (role == Qt::DecorationRole && customised) {
                return symbolIcon(Symbol::gearBadgeCheckmark);
            }
            if (role == Qt::AccessibleTextRole && customised) return "Custom state filters";
            return {};
        default:
            return {};
    }
}

int AppRulesModel::rowOf(const Uuid& id) const {
    auto it = std::find_if(rules_.begin(), rules_.end(),
                           [&](const HotkeyRule& rule) { return rule.id == id; });
    return it == rules_.end() ? -1 : static_cast<int>(it - rules_.begin());
}

std::optional<Uuid> AppRulesModel::idAt(int row) const {
    if (row < 0 || row >= rowCount()) return std::nullopt;
    return rules_[static_cast<std::size_t>(row)].id;
}

}  // namespace tarn::agent::ui
