#pragma once

#include <QAbstractListModel>
#include <vector>

#include "agent/config_store.h"

namespace tarn::agent::ui {

// The sidebar's "Configured Apps": one row per application entry, in stored order, showing
// its name, with its bundle identifier for selection and its saved-location count for the
// badge.
class ConfiguredAppsModel final : public QAbstractListModel {
    Q_OBJECT
  public:
    static constexpr int BundleIdRole = Qt::UserRole + 1;
    static constexpr int SavedLocationsRole = Qt::UserRole + 2;

    explicit ConfiguredAppsModel(ConfigStore& store, QObject* parent = nullptr);
    ~ConfiguredAppsModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    // The row of the first entry with this bundle identifier, or -1.
    int rowOf(const std::string& bundleID) const;

  private:
    struct Row {
        std::string bundleID;
        std::string displayName;
        std::size_t savedLocations;
        friend bool operator==(const Row&, const Row&) = default;
    };
    static std::vector<Row> rowsOf(const RootConfig& config);
    void reload();

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    std::vector<Row> rows_;
};

// The badge beside an application with saved locations: nothing for none, the symbol alone
// for one, "×" and the count after it for more.
QString savedLocationsBadgeText(std::size_t count);

}  // namespace tarn::agent::ui
