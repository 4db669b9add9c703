#include "agent/ui/rules_model.h"

#include <algorithm>

#include "agent/ui/platform_texts.h"
#include "agent/ui/render_action.h"
#include "agent/ui/style.h"
#include "agent/ui/symbols.h"

namespace tarn::agent::ui {
namespace {

platform::Chord platformChord(const KeyChord& chord) {
    return {chord.keyCode, static_cast<std::uint32_t>(chord.modifiers.rawValue)};
}

bool sameIds(const std::vector<HotkeyRule>& a, const std::vector<HotkeyRule>& b) {
    return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                      [](const HotkeyRule& x, const HotkeyRule& y) { return x.id == y.id; });
}

}  // namespace

std::optional<std::string_view> passNote(const HotkeyRule& rule, platform::ChordPass pass) {
    if (rule.swallow || pass == platform::ChordPass::replayed) return std::nullopt;
    return pass == platform::ChordPass::retyped ? platformTexts().chordRetyped
                                                : platformTexts().chordCannotPass;
}

GlobalRulesModel::GlobalRulesModel(ConfigStore& store, QObject* parent)
    : QAbstractTableModel(parent), store_(store), rules_(store.config().globalRules) {
    listener_ = store_.addListener([this] { reload(); });
}

GlobalRulesModel::~GlobalRulesModel() {
    store_.removeListener(listener_);
}

void GlobalRulesModel::reload() {
    const auto& next = store_.config().globalRules;
    if (next == rules_) return;
    if (sameIds(rules_, next)) {
        // An edit in place (the common case while the editor is in use): the rows stay, so
        // selection and scroll position do too.
        rules_ = next;
        if (!rules_.empty()) emit dataChanged(index(0, 0), index(rowCount() - 1, columnCount_ - 1));
        return;
    }
    // Rules added at the end, the rest untouched (the "Add Rule…" button), keep the rows
    // above them; anything else starts the table afresh.
    if (next.size() > rules_.size() && std::equal(rules_.begin(), rules_.end(), next.begin())) {
        beginInsertRows({}, rowCount(), static_cast<int>(next.size()) - 1);
        rules_ = next;
        endInsertRows();
        return;
    }
    beginResetModel();
    rules_ = next;
    endResetModel();
}

int GlobalRulesModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rules_.size());
}

int GlobalRulesModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columnCount_;
}

QVariant GlobalRulesModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole) return {};
    switch (section) {
        case hotkey:
            return QStringLiteral("Hotkey");
        case action:
            return QStringLiteral("Action");
        case swallow:
            return QStringLiteral("Swallow");
        default:
            return {};
    }
}

std::optional<platform::ChordGrab> GlobalRulesModel::problemOf(const KeyChord& chord) const {
    auto it = problems_.find(platformChord(chord));
    if (it == problems_.end()) return std::nullopt;
    return it->second;
}

QVariant GlobalRulesModel::data(const QModelIndex& index, int role) const {
    if (!checkIndex(index, CheckIndexOption::IndexIsValid | CheckIndexOption::ParentIsInvalid)) {
        return {};
    }
    const HotkeyRule& rule = rules_[static_cast<std::size_t>(index.row())];
    if (role == RuleIdRole) return qt(rule.id.text());
    switch (index.column()) {
        case hotkey: {
            auto problem = problemOf(rule.chord);
            if (role == Qt::DisplayRole) return qt(rule.chord.displayName());
            if (role == Qt::DecorationRole && problem) return symbolIcon(Symbol::warning);
            if (role == Qt::ToolTipRole && problem) {
                return qt(*problem == platform::ChordGrab::takenByOther
                              ? platformTexts().chordTakenByOther
                              : platformTexts().chordHasNoKey);
            }
            return {};
        }
        case action:
            if (role == Qt::DisplayRole) return qt(renderAction(rule.action));
            return {};
        case swallow:
            if (role == SwallowRole) return rule.swallow;
            if (role == Qt::DecorationRole) {
                if (!rule.swallow && pass_ == platform::ChordPass::impossible)
                    return symbolIcon(Symbol::warning);
                return symbolIcon(rule.swallow ? Symbol::checkmarkCircleFill : Symbol::circle);
            }
            if (role == Qt::ToolTipRole) {
                if (auto note = passNote(rule, pass_)) return qt(*note);
                return {};
            }
            if (role == Qt::AccessibleTextRole) return rule.swallow ? "Yes" : "No";
            return {};
        default:
            return {};
    }
}

int GlobalRulesModel::rowOf(const Uuid& id) const {
    auto it = std::find_if(rules_.begin(), rules_.end(),
                           [&](const HotkeyRule& rule) { return rule.id == id; });
    return it == rules_.end() ? -1 : static_cast<int>(it - rules_.begin());
}

std::optional<Uuid> GlobalRulesModel::idAt(int row) const {
    if (row < 0 || row >= rowCount()) return std::nullopt;
    return rules_[static_cast<std::size_t>(row)].id;
}

void GlobalRulesModel::setChordStatus(const std::vector<platform::ChordStatus>& status) {
    std::map<platform::Chord, platform::ChordGrab> problems;
    for (const auto& entry : status) {
        if (entry.state != platform::ChordGrab::grabbed) problems[entry.chord] = entry.state;
    }
    if (problems == problems_) return;
    problems_ = std::move(problems);
    if (!rules_.empty()) emit dataChanged(index(0, hotkey), index(rowCount() - 1, hotkey));
}

void GlobalRulesModel::setChordPass(platform::ChordPass pass) {
    if (pass == pass_) return;
    pass_ = pass;
    if (!rules_.empty()) emit dataChanged(index(0, swallow), index(rowCount() - 1, swallow));
}

}  // namespace tarn::agent::ui
