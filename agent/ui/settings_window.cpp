#include "agent/ui/settings_window.h"

#include <QAction>
#include <QApplication>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QListView>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSplitter>
#include <QStackedWidget>
#include <QStyledItemDelegate>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

#include "agent/settings_transfer.h"
#include "agent/ui/alerts.h"
#include "agent/ui/app_icons.h"
#include "agent/ui/app_rules_view.h"
#include "agent/ui/apps_model.h"
#include "agent/ui/global_rules_view.h"
#include "agent/ui/platform_texts.h"
#include "agent/ui/style.h"
#include "agent/ui/symbols.h"

namespace tarn::agent::ui {
namespace {

constexpr int kIconSize = 18;

// A configured application's row: icon (an empty square of the same size when it has none),
// name, and the saved-locations badge at the end.
class AppRowDelegate final : public QStyledItemDelegate {
  public:
    AppRowDelegate(AppIcons& icons, QObject* parent) : QStyledItemDelegate(parent), icons_(icons) {}

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override {
        QStyleOptionViewItem item = option;
        initStyleOption(&item, index);
        QString name = item.text;
        item.text.clear();
        item.icon = QIcon();
        const QWidget* widget = option.widget;
        QStyle* style = widget ? widget->style() : QApplication::style();
        style->drawControl(QStyle::CE_ItemViewItem, &item, painter, widget);

        QRect area = option.rect.adjusted(6, 0, -6, 0);
        QRect iconRect(area.left(), area.center().y() - kIconSize / 2, kIconSize, kIconSize);
        QIcon icon =
            icons_.icon(index.data(ConfiguredAppsModel::BundleIdRole).toString().toStdString());
        if (!icon.isNull()) icon.paint(painter, iconRect);

        auto count = index.data(ConfiguredAppsModel::SavedLocationsRole).toULongLong();
        int badgeWidth = 0;
        painter->save();
        QColor dim =
            option.palette.color(option.state & QStyle::State_Selected ? QPalette::HighlightedText
                                                                       : QPalette::PlaceholderText);
        if (count > 0) {
            QFont small = option.font;
            small.setPointSizeF(small.pointSizeF() * 0.8);
            QString times = savedLocationsBadgeText(count);
            int textWidth = times.isEmpty() ? 0 : QFontMetrics(small).horizontalAdvance(times);
            badgeWidth = 14 + textWidth + 4;
            QRect symbol(area.right() - badgeWidth + 2, area.center().y() - 6, 12, 12);
            symbolIcon(Symbol::locationFill).paint(painter, symbol);
            painter->setFont(small);
            painter->setPen(dim);
            painter->drawText(QRect(symbol.right() + 2, area.top(), textWidth + 2, area.height()),
                              Qt::AlignVCenter | Qt::AlignLeft, times);
        }
        painter->setFont(option.font);
        painter->setPen(option.palette.color(
            option.state & QStyle::State_Selected ? QPalette::HighlightedText : QPalette::Text));
        QRect text(iconRect.right() + 8, area.top(),
                   area.right() - badgeWidth - iconRect.right() - 8, area.height());
        painter->drawText(text, Qt::AlignVCenter | Qt::AlignLeft,
                          option.fontMetrics.elidedText(name, Qt::ElideRight, text.width()));
        painter->restore();
    }

    QSize sizeHint(const QStyleOptionViewItem& option, const QModelIndex& index) const override {
        QSize size = QStyledItemDelegate::sizeHint(option, index);
        return {size.width(), std::max(size.height(), 28)};
    }

  private:
    AppIcons& icons_;
};

// The sidebar's list, where Delete and Backspace remove the selected applications.
class AppListView final : public QListView {
  public:
    std::function<void()> onDelete;

  protected:
    void keyPressEvent(QKeyEvent* event) override {
        if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) && onDelete) {
            onDelete();
            return;
        }
        QListView::keyPressEvent(event);
    }
};

}  // namespace

RunningAppPicker::RunningAppPicker(RunningApps& apps, AppIcons& icons, QWidget* parent)
    : QDialog(parent) {
    setWindowTitle("Choose a Running App");
    setModal(true);
    resize(520, 420);
    apps.refreshRunningApps();
    auto* column = new QVBoxLayout(this);
    column->addWidget(headline("Choose a Running App"));
    auto* list = new QListWidget;
    list->setObjectName("runningApps");
    list->setIconSize(QSize(24, 24));
    std::vector<platform::AppInfo> running = apps.runningApps();
    for (const auto& app : running) {
        QString name = app.localizedName ? QString::fromStdString(*app.localizedName) : "Unknown";
        QString text = app.bundleID ? name + "\n" + QString::fromStdString(*app.bundleID) : name;
        auto* item = new QListWidgetItem(icons.icon(app.bundleID.value_or("")), text, list);
        item->setSizeHint(QSize(0, 40));
    }
    column->addWidget(list);
    auto* cancel = new QPushButton("Cancel");
    auto* buttons = new QHBoxLayout;
    buttons->addStretch(1);
    buttons->addWidget(cancel);
    column->addLayout(buttons);
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(list, &QListWidget::itemClicked, this, [this, list, running](QListWidgetItem* item) {
        picked_ = running[static_cast<std::size_t>(list->row(item))];
        accept();
    });
}

SettingsView::SettingsView(ConfigStore& store, RunningApps& apps, std::function<int()> screenCount,
                           SettingsServices services, QWidget* parent)
    : QWidget(parent), store_(store), apps_(apps), services_(services.resolved()) {
    if (!services_.icons) {
        ownIcons_ = std::make_unique<DesktopAppIcons>(*services_.windows, services_.iconNames);
        services_.icons = ownIcons_.get();
    }
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    saveError_ = new QLabel;
    saveError_->setObjectName("saveError");
    saveError_->setWordWrap(true);
    saveError_->setContentsMargins(12, 6, 12, 6);
    saveError_->setStyleSheet("QLabel#saveError { background: #fdecea; color: #8a1c13; }");
    saveError_->hide();
    outer->addWidget(saveError_);

    auto* split = new QSplitter;
    split->setChildrenCollapsible(false);
    outer->addWidget(split, 1);

    // Sidebar.
    auto* sidebar = new QWidget;
    sidebar->setMinimumWidth(200);
    auto* side = new QVBoxLayout(sidebar);
    side->setContentsMargins(0, 8, 0, 0);
    side->setSpacing(4);
    back_ = new QPushButton(symbolIcon(Symbol::chevronLeft), "Back to Global");
    back_->setFlat(true);
    back_->setStyleSheet("text-align: left; padding: 4px 8px;");
    side->addWidget(back_);
    auto* section = caption("Configured Apps");
    section->setContentsMargins(10, 4, 10, 0);
    side->addWidget(section);
    auto* list = new AppListView;
    appList_ = list;
    appsModel_ = new ConfiguredAppsModel(store_, this);
    list->setModel(appsModel_);
    list->setItemDelegate(new AppRowDelegate(*services_.icons, list));
    list->setFrameShape(QFrame::NoFrame);
    list->setSelectionMode(QAbstractItemView::ExtendedSelection);
    // Focus by click only: the window opens with the global rules, not the list, active.
    list->setFocusPolicy(Qt::ClickFocus);
    list->setContextMenuPolicy(Qt::ActionsContextMenu);
    auto* remove = new QAction("Delete", list);
    list->addAction(remove);
    auto deleteSelected = [this] {
        std::vector<std::string> chosen;
        for (const QModelIndex& index : appList_->selectionModel()->selectedRows()) {
            chosen.push_back(
                index.data(ConfiguredAppsModel::BundleIdRole).toString().toStdString());
        }
        if (!chosen.empty()) deleteApps(chosen);
    };
    list->onDelete = deleteSelected;
    connect(remove, &QAction::triggered, this, deleteSelected);
    side->addWidget(list, 1);

    auto* bottom = new QWidget;
    auto* bar = new QHBoxLayout(bottom);
    bar->setContentsMargins(12, 12, 12, 12);
    auto* add = new QPushButton("Add Running App…");
    gear_ = new QToolButton;
    gear_->setIcon(symbolIcon(Symbol::gear));
    gear_->setFixedSize(24, 24);
    gear_->setAutoRaise(true);
    gear_->setPopupMode(QToolButton::InstantPopup);
    gear_->setStyleSheet("QToolButton::menu-indicator { image: none; }");
    auto* menu = new QMenu(gear_);
    connect(menu->addAction("Export Settings…"), &QAction::triggered, this,
            qOverload<>(&SettingsView::exportSettings));
    connect(menu->addAction("Import Settings…"), &QAction::triggered, this,
            qOverload<>(&SettingsView::importSettings));
    gear_->setMenu(menu);
    bar->addWidget(add);
    bar->addStretch(1);
    bar->addWidget(gear_);
    side->addWidget(bottom);
    split->addWidget(sidebar);

    // Detail pane.
    detail_ = new QStackedWidget;
    globalRules_ = new GlobalRulesView(store_, std::move(screenCount));
    detail_->addWidget(globalRules_);
    auto* nothing = secondary("Select an item.");
    nothing->setAlignment(Qt::AlignCenter);
    nothing_ = nothing;
    detail_->addWidget(nothing_);
    split->addWidget(detail_);
    split->setStretchFactor(1, 1);
    split->setSizes({230, 670});

    connect(back_, &QPushButton::clicked, this, [this] { select(kGlobalSelection); });
    connect(add, &QPushButton::clicked, this, &SettingsView::openPicker);
    // Selection, not the current row: a list that takes the focus makes its first row
    // current without the user choosing it.
    connect(list->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        QModelIndexList rows = appList_->selectionModel()->selectedRows();
        if (rows.size() == 1) {
            select(rows.first().data(ConfiguredAppsModel::BundleIdRole).toString().toStdString());
        }
    });
    connect(appsModel_, &QAbstractItemModel::modelReset, this, &SettingsView::refresh);
    listener_ = store_.addListener([this] { refresh(); });
    refresh();
}

SettingsView::~SettingsView() {
    store_.removeListener(listener_);
}

void SettingsView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!selection_) select(kGlobalSelection);
}

void SettingsView::select(std::optional<std::string> bundleID) {
    selection_ = std::move(bundleID);
    refresh();
}

QWidget* SettingsView::currentDetail() const {
    return detail_->currentWidget();
}

void SettingsView::refresh() {
    bool global = !selection_ || *selection_ == kGlobalSelection;
    back_->setVisible(!global);
    const auto& apps = store_.config().appConfigs;
    auto app =
        global ? apps.end() : std::find_if(apps.begin(), apps.end(), [&](const AppConfig& entry) {
            return entry.bundleID == *selection_;
        });
    if (global || app == apps.end()) dropAppRules();
    if (global) {
        detail_->setCurrentWidget(globalRules_);
    } else if (app != apps.end()) {
        // One pane per application, so nothing of one (its selected rule) carries over.
        if (!appRules_ || appRules_->bundleID() != app->bundleID) {
            dropAppRules();
            appRules_ =
                new AppRulesView(store_, app->bundleID, *services_.windows, *services_.alerts);
            detail_->addWidget(appRules_);
        }
        detail_->setCurrentWidget(appRules_);
    } else {
        detail_->setCurrentWidget(nothing_);
    }
    // The list shows the selection, or none for the global rules.
    int row = global ? -1 : appsModel_->rowOf(*selection_);
    auto* selection = appList_->selectionModel();
    QSignalBlocker quiet(selection);
    if (row < 0) {
        selection->clear();
    } else if (!selection->isRowSelected(row)) {
        selection->setCurrentIndex(appsModel_->index(row), QItemSelectionModel::ClearAndSelect);
    }
    appList_->viewport()->update();

    if (const auto& error = store_.saveError()) {
        saveError_->setText(qt(platformTexts().saveFailed) + QString::fromStdString(*error));
        saveError_->show();
    } else {
        saveError_->hide();
    }
}

void SettingsView::deleteApps(const std::vector<std::string>& bundleIDs) {
    store_.update([&](RootConfig& config) {
        std::erase_if(config.appConfigs, [&](const AppConfig& app) {
            return std::find(bundleIDs.begin(), bundleIDs.end(), app.bundleID) != bundleIDs.end();
        });
    });
    select(kGlobalSelection);
}

void SettingsView::pickRunningApp(const platform::AppInfo& app) {
    if (!app.bundleID) return;  // nothing to key its settings by
    store_.upsertAppConfig(*app.bundleID, app.localizedName.value_or(*app.bundleID));
    select(*app.bundleID);
}

void SettingsView::dropAppRules() {
    if (!appRules_) return;
    detail_->removeWidget(appRules_);
    // Later: this may run inside one of the pane's own button handlers ("Delete App").
    appRules_->deleteLater();
    appRules_ = nullptr;
}

void SettingsView::exportSettings() {
    if (auto path = services_.files->saveFile(this, "wendle-settings.json")) exportSettings(*path);
}

void SettingsView::importSettings() {
    if (auto path = services_.files->openFile(this)) importSettings(*path);
}

void SettingsView::exportSettings(const QString& path) {
    if (auto error = agent::exportSettings(store_.config(), path.toStdString())) {
        // Export failures share the import's alert.
        services_.alerts->present({.style = Alert::Style::warning,
                                   .message = "Import Error",
                                   .informative = "Export failed: " + qt(*error),
                                   .buttons = {"OK"},
                                   .link = {}});
    }
}

void SettingsView::importSettings(const QString& path) {
    ImportOutcome outcome = agent::importSettings(store_, path.toStdString());
    if (outcome.error) {
        services_.alerts->present(
            {.style = Alert::Style::warning,
             .message = "Import Error",
             .informative = "Failed to import settings: " + qt(*outcome.error),
             .buttons = {"OK"},
             .link = {}});
        return;
    }
    select(kGlobalSelection);
    services_.alerts->present(
        {.style = Alert::Style::informational,
         .message = "Import Successful",
         .informative = "Settings have been imported successfully. All shortcuts and app "
                        "configurations have been restored.\n\nThe settings they replaced are "
                        "kept in " +
                        QString::fromStdString(outcome.keptAs.string()) +
                        "; importing that file brings them back.",
         .buttons = {"OK"},
         .link = {}});
}

void SettingsView::openPicker() {
    services_.icons->refresh();
    RunningAppPicker picker(apps_, *services_.icons, this);
    if (picker.exec() == QDialog::Accepted && picker.picked()) pickRunningApp(*picker.picked());
}

SettingsWindowController::SettingsWindowController(ConfigStore& store, RunningApps& apps,
                                                   SettingsServices services, QObject* parent)
    : QObject(parent), store_(store), apps_(apps), services_(services) {}

SettingsWindowController::~SettingsWindowController() = default;

void SettingsWindowController::show() {
    if (!window_) {
        window_ = std::make_unique<QWidget>();
        window_->setWindowTitle("Calvex Settings");
        window_->resize(900, 750);
        window_->setMinimumSize(700, 500);
        auto* layout = new QVBoxLayout(window_.get());
        layout->setContentsMargins(0, 0, 0, 0);
        view_ = new SettingsView(
            store_, apps_, [] { return static_cast<int>(QGuiApplication::screens().size()); },
            services_);
        layout->addWidget(view_);
        if (QScreen* screen = QGuiApplication::primaryScreen()) {
            QRect area = screen->availableGeometry();
            window_->move(area.center() - QPoint(450, 375));
        }
    }
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void SettingsWindowController::setChordStatus(const std::vector<platform::ChordStatus>& status) {
    if (view_) view_->globalRules()->setChordStatus(status);
}

void SettingsWindowController::setChordPass(platform::ChordPass pass) {
    if (view_) view_->globalRules()->setChordPass(pass);
}

}  // namespace tarn::agent::ui
