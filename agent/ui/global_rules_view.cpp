#include "agent/ui/global_rules_view.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QItemSelectionModel>
#include <QPushButton>
#include <QStackedWidget>
#include <QTableView>
#include <QVBoxLayout>

#include "agent/ui/rule_editor.h"
#include "agent/ui/rules_model.h"
#include "agent/ui/style.h"

namespace tarn::agent::ui {

GlobalRulesView::GlobalRulesView(ConfigStore& store, std::function<int()> screenCount,
                                 QWidget* parent)
    : QWidget(parent), store_(store), screenCount_(std::move(screenCount)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(16, 16, 16, 8);
    column->setSpacing(8);
    column->addWidget(heading("Global Hotkeys"));

    model_ = new GlobalRulesModel(store_, this);
    table_ = rulesTable(model_);
    table_->horizontalHeader()->setSectionResizeMode(GlobalRulesModel::hotkey,
                                                     QHeaderView::Interactive);
    table_->horizontalHeader()->setSectionResizeMode(GlobalRulesModel::action,
                                                     QHeaderView::Stretch);
    table_->horizontalHeader()->setSectionResizeMode(GlobalRulesModel::swallow, QHeaderView::Fixed);
    table_->setColumnWidth(GlobalRulesModel::hotkey, 160);
    table_->setColumnWidth(GlobalRulesModel::swallow, 80);
    table_->setMinimumHeight(160);
    column->addWidget(table_, 2);

    auto* add = new QPushButton("Add Rule…");
    remove_ = new QPushButton("Remove Selected");
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(add);
    buttons->addWidget(remove_);
    buttons->addStretch(1);
    column->addLayout(buttons);
    column->addWidget(divider());

    detail_ = new QStackedWidget;
    auto* none = secondary("Select a rule to edit.");
    none->setAlignment(Qt::AlignCenter);
    detail_->addWidget(none);
    column->addWidget(detail_, 5);

    connect(add, &QPushButton::clicked, this, &GlobalRulesView::addGlobalRule);
    connect(remove_, &QPushButton::clicked, this, &GlobalRulesView::removeSelected);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
        auto rows = table_->selectionModel()->selectedRows();
        if (rows.isEmpty()) return;  // a reset clears the table's selection, not ours
        selectRule(model_->idAt(rows.first().row()));
    });
    connect(model_, &QAbstractItemModel::modelReset, this, [this] {
        syncTableSelection();
        showEditor();
    });
    connect(model_, &QAbstractItemModel::rowsInserted, this, &GlobalRulesView::syncTableSelection);
    syncTableSelection();
    showEditor();
}

void GlobalRulesView::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    if (!selected_ && model_->rowCount() > 0) selectRule(model_->idAt(0));
}

void GlobalRulesView::addGlobalRule() {
    HotkeyRule rule;
    rule.id = Uuid::random();
    rule.chord = KeyChord{
        40,
        {KeyChord::Modifiers::shift | KeyChord::Modifiers::option | KeyChord::Modifiers::command}};
    rule.action = Action{Action::MoveWindow{Action::MoveDirection::left}};
    rule.swallow = true;
    store_.update([&](RootConfig& config) { config.globalRules.push_back(rule); });
    selectRule(rule.id);
}

void GlobalRulesView::removeSelected() {
    if (!selected_) return;
    Uuid gone = *selected_;
    selectRule(std::nullopt);
    store_.update([&](RootConfig& config) {
        auto& rules = config.globalRules;
        auto it = std::find_if(rules.begin(), rules.end(),
                               [&](const HotkeyRule& rule) { return rule.id == gone; });
        if (it != rules.end()) rules.erase(it);
    });
    selectRule(model_->idAt(0));
}

void GlobalRulesView::selectRule(std::optional<Uuid> id) {
    bool changed = id != selected_;
    selected_ = id;
    syncTableSelection();
    if (changed) showEditor();
}

void GlobalRulesView::syncTableSelection() {
    showSelectedRow(*table_, selected_ ? model_->rowOf(*selected_) : -1);
    remove_->setEnabled(selected_.has_value());
}

// Each rule gets an editor of its own, so nothing of one rule's editing (a recording in
// progress) carries over to the next.
void GlobalRulesView::showEditor() {
    bool exists = selected_ && model_->rowOf(*selected_) >= 0;
    if (editor_ && (!exists || editor_->ruleId() != *selected_)) {
        detail_->removeWidget(editor_);
        editor_->deleteLater();
        editor_ = nullptr;
    }
    if (exists && !editor_) {
        editor_ = new GlobalRuleEditPanel(store_, *selected_, screenCount_);
        editor_->setChordPass(pass_);
        detail_->addWidget(editor_);
    }
    detail_->setCurrentWidget(editor_ ? static_cast<QWidget*>(editor_) : detail_->widget(0));
}

void GlobalRulesView::setChordStatus(const std::vector<platform::ChordStatus>& status) {
    model_->setChordStatus(status);
}

void GlobalRulesView::setChordPass(platform::ChordPass pass) {
    pass_ = pass;
    model_->setChordPass(pass);
    if (editor_) editor_->setChordPass(pass);
}

}  // namespace tarn::agent::ui
