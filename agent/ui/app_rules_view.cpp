#include "agent/ui/app_rules_view.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>
#include <algorithm>

#include "agent/ui/app_rules_model.h"
#include "agent/ui/render_action.h"
#include "agent/ui/saved_locations_editor.h"
#include "agent/ui/state_filters_editor.h"
#include "agent/ui/style.h"

namespace tarn::agent::ui {
namespace {

const AppConfig* findApp(const RootConfig& config, const std::string& bundleID) {
    auto it = std::find_if(config.appConfigs.begin(), config.appConfigs.end(),
                           [&](const AppConfig& app) { return app.bundleID == bundleID; });
    return it == config.appConfigs.end() ? nullptr : &*it;
}

QScrollArea* scrolling(QWidget* content) {
    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidget(content);
    return scroll;
}

}  // namespace

AppRuleOverridePanel::AppRuleOverridePanel(ConfigStore& store, std::string bundleID, Uuid ruleId,
                                           QWidget* parent)
    : QWidget(parent), store_(store), bundleID_(std::move(bundleID)), ruleId_(ruleId) {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* content = new QFrame;
    content->setObjectName("overridePanel");
    QColor background = palette().color(QPalette::AlternateBase);
    content->setStyleSheet(QStringLiteral("QFrame#overridePanel { background: %1; "
                                          "border-radius: 8px; }")
                               .arg(background.name()));
    outer->addWidget(scrolling(content));
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(16, 16, 16, 16);
    column->setSpacing(12);
    column->setAlignment(Qt::AlignTop);

    title_ = headline({});
    column->addWidget(title_);
    hotkey_ = new QLabel;
    action_ = new QLabel;
    column->addWidget(hotkey_);
    column->addWidget(action_);
    column->addWidget(divider());

    enabled_ = new QCheckBox("Enable this rule for this app");
    column->addWidget(enabled_);
    disabledCaption_ = caption("This rule will not trigger in this app and keys will pass through");
    column->addWidget(disabledCaption_);

    filtersBlock_ = new QWidget;
    auto* filters = new QVBoxLayout(filtersBlock_);
    filters->setContentsMargins(0, 0, 0, 0);
    filters->setSpacing(12);
    filters->addWidget(divider());
    customize_ = new QCheckBox("Customize state filters for this app");
    filters->addWidget(customize_);
    usingGlobal_ = caption("Using global rule settings");
    overriding_ = caption("These filters override the global rule settings for this app only");
    filters->addWidget(usingGlobal_);
    filters->addWidget(overriding_);
    filters_ = new StateFiltersEditor;
    filters->addWidget(filters_);
    column->addWidget(filtersBlock_);

    connect(enabled_, &QCheckBox::toggled, this, [this](bool on) {
        RuleOverride next = override().value_or(RuleOverride{});
        next.enabled = on;
        write(next);
    });
    connect(customize_, &QCheckBox::toggled, this, [this](bool on) {
        RuleOverride next = override().value_or(RuleOverride{});
        if (!on) {
            next.stateFilters.reset();
        } else {
            const HotkeyRule* global = rule();
            next.stateFilters =
                global ? global->stateFilters.value_or(StateFilters{}) : StateFilters{};
        }
        write(next);
    });
    connect(filters_, &StateFiltersEditor::filtersEdited, this, [this](const StateFilters& value) {
        RuleOverride next = override().value_or(RuleOverride{});
        next.stateFilters = value;
        write(next);
    });
    refresh();
    listener_ = store_.addListener([this] { refresh(); });
}

AppRuleOverridePanel::~AppRuleOverridePanel() {
    store_.removeListener(listener_);
}

const HotkeyRule* AppRuleOverridePanel::rule() const {
    const auto& rules = store_.config().globalRules;
    auto it = std::find_if(rules.begin(), rules.end(),
                           [&](const HotkeyRule& candidate) { return candidate.id == ruleId_; });
    return it == rules.end() ? nullptr : &*it;
}

std::optional<RuleOverride> AppRuleOverridePanel::override() const {
    const AppConfig* app = findApp(store_.config(), bundleID_);
    if (!app) return std::nullopt;
    auto it = app->ruleOverrides.find(ruleId_);
    if (it == app->ruleOverrides.end()) return std::nullopt;
    return it->second;
}

bool AppRuleOverridePanel::isHorizontalAction() const {
    const HotkeyRule* current = rule();
    auto* move = current ? std::get_if<Action::MoveWindow>(&current->action.value) : nullptr;
    return move && (move->direction == Action::MoveDirection::left ||
                    move->direction == Action::MoveDirection::right);
}

void AppRuleOverridePanel::write(const RuleOverride& value) {
    store_.update([&](RootConfig& config) {
        for (auto& app : config.appConfigs) {
            if (app.bundleID == bundleID_) {
                app.ruleOverrides[ruleId_] = value;
                return;
            }
        }
    });
}

void AppRuleOverridePanel::refresh() {
    const HotkeyRule* current = rule();
    const AppConfig* app = findApp(store_.config(), bundleID_);
    if (!current || !app) return;  // the view above replaces this panel
    auto stored = override();
    bool on = !stored || stored->enabled;
    bool customised = stored && stored->stateFilters;
    title_->setText("Customize Rule for " + qt(app->displayName));
    hotkey_->setText("Hotkey: " + qt(current->chord.displayName()));
    action_->setText("Action: " + qt(renderAction(current->action)));
    {
        QSignalBlocker quiet(enabled_);
        enabled_->setChecked(on);
    }
    disabledCaption_->setVisible(stored && !stored->enabled);
    filtersBlock_->setVisible(isHorizontalAction() && on);
    {
        QSignalBlocker quiet(customize_);
        customize_->setChecked(customised);
    }
    usingGlobal_->setVisible(!customised);
    overriding_->setVisible(customised);
    filters_->setHorizontalAction(customised);
    filters_->setFilters(customised ? *stored->stateFilters : StateFilters{});
}

AppRulesView::AppRulesView(ConfigStore& store, std::string bundleID, WindowAccess& windows,
                           AlertPresenter& alerts, QWidget* parent)
    : QWidget(parent), store_(store), bundleID_(std::move(bundleID)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, 8);
    column->setSpacing(8);

    auto* header = new QHBoxLayout;
    title_ = heading({});
    title_->setWordWrap(false);
    header->addWidget(title_);
    header->addStretch(1);
    auto* remove = new QPushButton("Delete App");
    remove->setStyleSheet("QPushButton { color: #d70015; }");
    header->addWidget(remove);
    column->addLayout(header);
    column->addWidget(divider());

    auto* section = new QWidget;
    auto* sectionColumn = new QVBoxLayout(section);
    sectionColumn->setContentsMargins(12, 12, 12, 12);
    sectionColumn->setSpacing(8);
    sectionColumn->addWidget(headline("Inherited Global Hotkeys"));
    sectionColumn->addWidget(
        caption("You can enable/disable rules or customize state filters per app"));
    model_ = new AppRulesModel(store_, bundleID_, this);
    table_ = rulesTable(model_);
    auto* columns = table_->horizontalHeader();
    columns->setSectionResizeMode(AppRulesModel::enabled, QHeaderView::Fixed);
    columns->setSectionResizeMode(AppRulesModel::hotkey, QHeaderView::Stretch);
    columns->setSectionResizeMode(AppRulesModel::action, QHeaderView::Stretch);
    columns->setSectionResizeMode(AppRulesModel::custom, QHeaderView::Fixed);
    table_->setColumnWidth(AppRulesModel::enabled, 60);
    table_->setColumnWidth(AppRulesModel::custom, 60);
    // Long rule lists scroll inside the table, so the saved locations under it stay in view.
    table_->setMinimumHeight(110);
    table_->setMaximumHeight(160);
    sectionColumn->addWidget(table_, 1);
    locations_ = new SavedLocationEditor(store_, bundleID_, windows, alerts);
    sectionColumn->addWidget(locations_);
    // The section keeps the height it needs (its table scrolls a long rule list); the override
    // panel takes the rest and scrolls.
    auto* sectionScroll = scrolling(section);
    sectionScroll->setFixedHeight(section->sizeHint().height());
    column->addWidget(sectionScroll);
    column->addWidget(divider());

    detail_ = new QStackedWidget;
    auto* none = secondary("Select a rule to customize for this app.");
    none->setAlignment(Qt::AlignCenter);
    detail_->addWidget(none);
    column->addWidget(detail_, 1);

    connect(remove, &QPushButton::clicked, this, [this] {
        // At once, without asking; the sidebar then has nothing to show for it.
        store_.update([&](RootConfig& config) {
            auto& apps = config.appConfigs;
            auto it = std::find_if(apps.begin(), apps.end(),
                                   [&](const AppConfig& app) { return app.bundleID == bundleID_; });
            if (it != apps.end()) apps.erase(it);
        });
    });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        auto rows = table_->selectionModel()->selectedRows();
        if (!rows.isEmpty()) selectRule(model_->idAt(rows.first().row()));
    });
    connect(model_, &QAbstractItemModel::modelReset, this, [this] {
        syncTableSelection();
        showPanel();
    });
    listener_ = store_.addListener([this] { refresh(); });
    refresh();
    showPanel();
}

AppRulesView::~AppRulesView() {
    store_.removeListener(listener_);
}

void AppRulesView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!selected_ && model_->rowCount() > 0) selectRule(model_->idAt(0));
}

void AppRulesView::refresh() {
    if (const AppConfig* app = findApp(store_.config(), bundleID_)) {
        title_->setText(qt(app->displayName));
    }
}

void AppRulesView::selectRule(std::optional<Uuid> id) {
    bool changed = id != selected_;
    selected_ = id;
    syncTableSelection();
    if (changed) showPanel();
}

void AppRulesView::syncTableSelection() {
    showSelectedRow(*table_, selected_ ? model_->rowOf(*selected_) : -1);
}

// A panel per rule, made when the selection changes and dropped when its rule is gone.
void AppRulesView::showPanel() {
    bool exists = selected_ && model_->rowOf(*selected_) >= 0;
    if (panel_ && (!exists || panel_->ruleId() != *selected_)) {
        detail_->removeWidget(panel_);
        panel_->deleteLater();
        panel_ = nullptr;
    }
    if (exists && !panel_) {
        panel_ = new AppRuleOverridePanel(store_, bundleID_, *selected_);
        detail_->addWidget(panel_);
    }
    detail_->setCurrentWidget(panel_ ? static_cast<QWidget*>(panel_) : detail_->widget(0));
}

}  // namespace tarn::agent::ui
