#include "agent/ui/apps_model.h"

namespace tarn::agent::ui {

ConfiguredAppsModel::ConfiguredAppsModel(ConfigStore& store, QObject* parent)
    : QAbstractListModel(parent), store_(store), rows_(rowsOf(store.config())) {
    listener_ = store_.addListener([this] { reload(); });
}

ConfiguredAppsModel::~ConfiguredAppsModel() {
    store_.removeListener(listener_);
}

std::vector<ConfiguredAppsModel::Row> ConfiguredAppsModel::rowsOf(const RootConfig& config) {
    std::vector<Row> rows;
    rows.reserve(config.appConfigs.size());
    for (const auto& app : config.appConfigs) {
        rows.push_back({app.bundleID, app.displayName, app.savedLocations.size()});
    }
    return rows;
}

void ConfiguredAppsModel::reload() {
    auto next = rowsOf(store_.config());
    if (next == rows_) return;
    if (next.size() == rows_.size()) {
        rows_ = std::move(next);
        emit dataChanged(index(0), index(rowCount() - 1));
        return;
    }
    beginResetModel();
    rows_ = std::move(next);
    endResetModel();
}

int ConfiguredAppsModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QVariant ConfiguredAppsModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const Row& row = rows_[static_cast<std::size_t>(index.row())];
    switch (role) {
        case Qt::DisplayRole:
            return QString::fromStdString(row.displayName);
        case Qt::ToolTipRole:
        case BundleIdRole:
            return QString::fromStdString(row.bundleID);
        case SavedLocationsRole:
            return static_cast<qulonglong>(row.savedLocations);
        default:
            return {};
    }
}

int ConfiguredAppsModel::rowOf(const std::string& bundleID) const {
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        if (rows_[i].bundleID == bundleID) return static_cast<int>(i);
    }
    return -1;
}

QString savedLocationsBadgeText(std::size_t count) {
    return count >= 2 ? QStringLiteral("×%1").arg(count) : QString();
}

}  // namespace tarn::agent::ui
