#pragma once

#include <QAbstractTableModel>
#include <map>
#include <optional>
#include <vector>

#include "agent/config_store.h"
#include "agent/uuid.h"
#include "platform/key_source.h"

namespace tarn::agent::ui {

// What becomes of the key of a rule that lets it through, when the desktop does not simply
// hand it on; absent when it does, or when the rule swallows it.
std::optional<std::string_view> passNote(const HotkeyRule& rule, platform::ChordPass pass);

// The global rules as a table: "Hotkey", "Action", "Swallow", one row per rule in stored
// order. It follows the store: every republished configuration refreshes it. A rule whose
// chord the key source could not take shows a warning with the reason as its tooltip.
class GlobalRulesModel final : public QAbstractTableModel {
    Q_OBJECT
  public:
    enum Column { hotkey, action, swallow, columnCount_ };
    // The rule's identifier as text, on every cell.
    static constexpr int RuleIdRole = Qt::UserRole + 1;
    // The swallow flag as a bool, on the "Swallow" cell (its picture says the same).
    static constexpr int SwallowRole = Qt::UserRole + 2;

    explicit GlobalRulesModel(ConfigStore& store, QObject* parent = nullptr);
    ~GlobalRulesModel() override;

    int rowCount(const QModelIndex& parent = {}) const override;
    int columnCount(const QModelIndex& parent = {}) const override;
    QVariant data(const QModelIndex& index, int role) const override;
    QVariant headerData(int section, Qt::Orientation orientation, int role) const override;

    // The row of the rule with this identifier (the first such), or -1.
    int rowOf(const Uuid& id) const;
    std::optional<Uuid> idAt(int row) const;

    // What the key source reports per chord; chords it does not list count as working.
    void setChordStatus(const std::vector<platform::ChordStatus>& status);
    // What letting a chord through means on this desktop, shown on the "Swallow" cell of
    // the rules that do.
    void setChordPass(platform::ChordPass pass);

  private:
    void reload();
    std::optional<platform::ChordGrab> problemOf(const KeyChord& chord) const;

    ConfigStore& store_;
    ConfigStore::ListenerId listener_;
    std::vector<HotkeyRule> rules_;
    std::map<platform::Chord, platform::ChordGrab> problems_;
    platform::ChordPass pass_ = platform::ChordPass::replayed;
};

}  // namespace tarn::agent::ui
