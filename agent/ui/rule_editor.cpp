#include "agent/ui/rule_editor.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QScrollArea>
#include <QSignalBlocker>
#include <QStackedWidget>
#include <QVBoxLayout>
#include <algorithm>
#include <cstdio>

#include "agent/overloaded.h"
#include "agent/ui/key_recorder.h"
#include "agent/ui/render_action.h"
#include "agent/ui/rules_model.h"
#include "agent/ui/state_filters_editor.h"
#include "agent/ui/style.h"

namespace tarn::agent::ui {
namespace {

using Bit = KeyChord::Modifiers::Bit;
struct ModifierBox {
    const char* title;
    Bit bit;
};
constexpr std::array<ModifierBox, 4> kModifierBoxes{{
    {"⌃ Control", Bit::control},
    {"⌥ Option", Bit::option},
    {"⇧ Shift", Bit::shift},
    {"⌘ Command", Bit::command},
}};

// The action picker's segments and the action each one starts from.
enum ActionKind { moveWindow, sendKeystrokes, moveMouse };
Action defaultAction(int kind) {
    switch (kind) {
        case sendKeystrokes:
            return Action{Action::SendKeystrokeSequence{}};
        case moveMouse:
            return Action{Action::MoveMouse{Action::MouseTarget{}, Action::MousePosition::center}};
        default:
            return Action{Action::MoveWindow{Action::MoveDirection::left}};
    }
}

// "(not set)" and the four directions a direct move-app call can name.
constexpr std::array<Action::MoveDirection, 4> kOverrideDirections{
    Action::MoveDirection::left, Action::MoveDirection::right, Action::MoveDirection::up,
    Action::MoveDirection::down};

QWidget* row(std::initializer_list<QWidget*> widgets, bool stretch = true) {
    auto* line = new QWidget;
    auto* layout = new QHBoxLayout(line);
    layout->setContentsMargins(0, 0, 0, 0);
    for (QWidget* widget : widgets) layout->addWidget(widget);
    if (stretch) layout->addStretch(1);
    return line;
}

QComboBox* picker(const QString& name, int width = 0) {
    auto* combo = new QComboBox;
    combo->setObjectName(name);
    combo->setAccessibleName(name);
    if (width > 0) combo->setFixedWidth(width);
    return combo;
}

void print(const std::string& line) {
    std::fputs((line + "\n").c_str(), stdout);
    std::fflush(stdout);
}

}  // namespace

GlobalRuleEditPanel::GlobalRuleEditPanel(ConfigStore& store, Uuid ruleId,
                                         std::function<int()> screenCount, QWidget* parent)
    : QWidget(parent), store_(store), ruleId_(ruleId), screenCount_(std::move(screenCount)) {
    build();
    refresh();
    listener_ = store_.addListener([this] { refresh(); });
}

GlobalRuleEditPanel::~GlobalRuleEditPanel() {
    store_.removeListener(listener_);
}

const HotkeyRule* GlobalRuleEditPanel::rule() const {
    const auto& rules = store_.config().globalRules;
    auto it = std::find_if(rules.begin(), rules.end(),
                           [&](const HotkeyRule& candidate) { return candidate.id == ruleId_; });
    return it == rules.end() ? nullptr : &*it;
}

int GlobalRuleEditPanel::ruleIndex() const {
    const HotkeyRule* found = rule();
    return found ? static_cast<int>(found - store_.config().globalRules.data()) : -1;
}

bool GlobalRuleEditPanel::isHorizontalAction() const {
    const HotkeyRule* current = rule();
    if (!current) return false;
    auto* move = std::get_if<Action::MoveWindow>(&current->action.value);
    return move && (move->direction == Action::MoveDirection::left ||
                    move->direction == Action::MoveDirection::right);
}

bool GlobalRuleEditPanel::isRecording() const {
    return recorder_->isRecording();
}

void GlobalRuleEditPanel::change(const std::function<void(HotkeyRule&)>& edit) {
    if (!rule()) return;
    store_.update([&](RootConfig& config) {
        for (auto& candidate : config.globalRules) {
            if (candidate.id == ruleId_) {
                edit(candidate);
                return;
            }
        }
    });
}

void GlobalRuleEditPanel::build() {
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    pages_ = new QStackedWidget;
    outer->addWidget(pages_);

    auto* gone = secondary("Rule no longer exists");
    gone->setAlignment(Qt::AlignCenter);
    pages_->addWidget(gone);

    auto* scroll = new QScrollArea;
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOn);
    pages_->addWidget(scroll);
    auto* content = new QWidget;
    scroll->setWidget(content);
    auto* column = new QVBoxLayout(content);
    column->setContentsMargins(16, 12, 16, 12);
    column->setSpacing(8);
    column->setAlignment(Qt::AlignTop | Qt::AlignLeft);

    column->addWidget(headline("Edit Global Rule"));

    // Hotkey block.
    chordLabel_ = new QLabel;
    chordLabel_->setObjectName("chord");
    chordLabel_->setFont(QFontDatabase::systemFont(QFontDatabase::FixedFont));
    recordButton_ = new QPushButton("Record");
    recordButton_->setObjectName("record");
    auto* hotkeyRow = row({chordLabel_}, true);
    hotkeyRow->layout()->addWidget(recordButton_);
    // The recorder sits behind the row: invisible, it only takes the keyboard focus.
    recorder_ = new KeyRecorder(hotkeyRow);
    recorder_->setGeometry(0, 0, 1, 1);
    column->addWidget(hotkeyRow);
    connect(recordButton_, &QPushButton::clicked, this,
            [this] { recorder_->setRecording(!recorder_->isRecording()); });
    connect(recorder_, &KeyRecorder::recordingChanged, this, [this](bool recording) {
        recordButton_->setText(recording ? "Press a key…" : "Record");
    });
    connect(recorder_, &KeyRecorder::keyRecorded, this, &GlobalRuleEditPanel::recorded);

    keyLabel_ = caption({});
    keyLabel_->setObjectName("keyName");
    column->addWidget(keyLabel_);

    auto* modifiers = new QWidget;
    auto* modifiersLayout = new QHBoxLayout(modifiers);
    modifiersLayout->setContentsMargins(0, 0, 0, 0);
    for (std::size_t i = 0; i < kModifierBoxes.size(); ++i) {
        auto* box = new QCheckBox(kModifierBoxes[i].title);
        modifierBoxes_[i] = box;
        modifiersLayout->addWidget(box);
        Bit bit = kModifierBoxes[i].bit;
        connect(box, &QCheckBox::toggled, this, [this, bit](bool on) {
            change([&](HotkeyRule& rule) {
                if (on) {
                    rule.chord.modifiers.rawValue |= bit;
                } else {
                    rule.chord.modifiers.rawValue &= ~static_cast<std::int64_t>(bit);
                }
            });
        });
    }
    modifiersLayout->addStretch(1);
    column->addWidget(modifiers);
    column->addWidget(divider());

    // Action block.
    column->addWidget(subheadline("Action"));
    auto* segments = new QWidget;
    segments->setAccessibleName("Action Type");
    auto* segmentsLayout = new QHBoxLayout(segments);
    segmentsLayout->setContentsMargins(0, 0, 0, 0);
    segmentsLayout->setSpacing(0);
    actionKinds_ = new QButtonGroup(this);
    int kind = 0;
    for (const char* title : {"Move Window", "Send Keystrokes", "Move Mouse"}) {
        auto* segment = new QPushButton(title);
        segment->setCheckable(true);
        segment->setObjectName(QString(title).remove(' '));
        actionKinds_->addButton(segment, kind++);
        segmentsLayout->addWidget(segment);
    }
    segmentsLayout->addStretch(1);
    column->addWidget(segments);
    // Choosing a segment starts its kind afresh, dropping the old parameters.
    connect(actionKinds_, &QButtonGroup::idClicked, this,
            [this](int id) { change([&](HotkeyRule& rule) { rule.action = defaultAction(id); }); });

    actionPages_ = new QStackedWidget;
    actionPages_->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Maximum);
    column->addWidget(actionPages_);

    direction_ = picker("Direction", 150);
    for (auto direction : Action::allMoveDirections)
        direction_->addItem(qt(directionTitle(direction)));
    actionPages_->addWidget(row({new QLabel("Direction"), direction_}));
    connect(direction_, &QComboBox::activated, this, [this](int index) {
        change([&](HotkeyRule& rule) {
            rule.action = Action{
                Action::MoveWindow{Action::allMoveDirections[static_cast<std::size_t>(index)]}};
        });
    });

    sequence_ = new QLineEdit;
    sequence_->setObjectName("sequence");
    sequence_->setPlaceholderText("Keystroke Sequence");
    actionPages_->addWidget(sequence_);
    connect(sequence_, &QLineEdit::textEdited, this, [this](const QString& text) {
        change([&](HotkeyRule& rule) {
            rule.action = Action{Action::SendKeystrokeSequence{text.toStdString()}};
        });
    });

    mouseTarget_ = picker("Target", 120);
    mouseTarget_->addItems({"App", "Screen"});
    screen_ = picker("Screen", 120);
    screenRow_ = row({new QLabel("Screen"), screen_}, false);
    position_ = picker("Position", 150);
    for (auto position : Action::allMousePositions) position_->addItem(qt(positionName(position)));
    auto* mouse = new QWidget;
    auto* mouseLayout = new QHBoxLayout(mouse);
    mouseLayout->setContentsMargins(0, 0, 0, 0);
    mouseLayout->addWidget(new QLabel("Target"));
    mouseLayout->addWidget(mouseTarget_);
    mouseLayout->addWidget(screenRow_);
    mouseLayout->addWidget(new QLabel("Position"));
    mouseLayout->addWidget(position_);
    mouseLayout->addStretch(1);
    actionPages_->addWidget(mouse);
    auto changeMouse = [this](const std::function<void(Action::MoveMouse&)>& edit) {
        change([&](HotkeyRule& rule) {
            if (auto* move = std::get_if<Action::MoveMouse>(&rule.action.value)) edit(*move);
        });
    };
    connect(mouseTarget_, &QComboBox::activated, this, [changeMouse](int index) {
        changeMouse([&](Action::MoveMouse& move) {
            move.target = index == 0 ? Action::MouseTarget{Action::MouseTarget::App{}}
                                     : Action::MouseTarget{Action::MouseTarget::Screen{0}};
        });
    });
    connect(screen_, &QComboBox::activated, this, [this, changeMouse](int index) {
        std::int64_t screen = screen_->itemData(index).toLongLong();
        changeMouse([&](Action::MoveMouse& move) {
            move.target = Action::MouseTarget{Action::MouseTarget::Screen{screen}};
        });
    });
    connect(position_, &QComboBox::activated, this, [changeMouse](int index) {
        changeMouse([&](Action::MoveMouse& move) {
            move.position = Action::allMousePositions[static_cast<std::size_t>(index)];
        });
    });
    column->addWidget(divider());

    swallow_ = new QCheckBox("Swallow Key (prevent system from seeing it)");
    column->addWidget(swallow_);
    passNote_ = caption({});
    passNote_->setObjectName("passNote");
    passNote_->setWordWrap(true);
    passNote_->hide();
    column->addWidget(passNote_);
    connect(swallow_, &QCheckBox::toggled, this,
            [this](bool on) { change([&](HotkeyRule& rule) { rule.swallow = on; }); });

    overrideTarn_ = picker("Override Tarn", 120);
    overrideTarn_->addItem("(not set)");
    for (auto direction : kOverrideDirections)
        overrideTarn_->addItem(qt(directionTitle(direction)));
    auto* overrideRow = row({new QLabel("Override Tarn:"), overrideTarn_});
    overrideRow->setToolTip(
        "Use this rule and app-specific customizations when calling from Tarn or Calvex.");
    overrideTarn_->setToolTip(overrideRow->toolTip());
    column->addWidget(overrideRow);
    connect(overrideTarn_, &QComboBox::activated, this, [this](int index) {
        change([&](HotkeyRule& rule) {
            rule.overrideTarn =
                index == 0
                    ? std::nullopt
                    : std::optional(kOverrideDirections[static_cast<std::size_t>(index - 1)]);
        });
    });

    filtersBlock_ = new QWidget;
    auto* filtersLayout = new QVBoxLayout(filtersBlock_);
    filtersLayout->setContentsMargins(0, 0, 0, 0);
    filtersLayout->setSpacing(8);
    filtersLayout->addWidget(divider());
    filtersLayout->addWidget(subheadline("State Filters"));
    filtersLayout->addWidget(
        caption("Control which states are available on primary vs secondary screens"));
    filters_ = new StateFiltersEditor;
    filtersLayout->addWidget(filters_);
    column->addWidget(filtersBlock_);
    // Whatever one box changed, the rule keeps all six flags from then on.
    connect(filters_, &StateFiltersEditor::filtersEdited, this, [this](const StateFilters& value) {
        change([&](HotkeyRule& rule) { rule.stateFilters = value; });
    });
}

void GlobalRuleEditPanel::setChordPass(platform::ChordPass pass) {
    pass_ = pass;
    refresh();
}

void GlobalRuleEditPanel::refresh() {
    const HotkeyRule* current = rule();
    if (!current) {
        pages_->setCurrentIndex(0);
        return;
    }
    pages_->setCurrentIndex(1);
    const HotkeyRule& r = *current;
    chordLabel_->setText("Hotkey: " + qt(r.chord.displayName()));
    if (auto name = r.chord.keyName()) {
        keyLabel_->setText(
            QStringLiteral("Key: %1 (code: %2)").arg(qt(*name)).arg(r.chord.keyCode));
        keyLabel_->show();
    } else {
        keyLabel_->hide();
    }
    for (std::size_t i = 0; i < kModifierBoxes.size(); ++i) {
        QSignalBlocker quiet(modifierBoxes_[i]);
        modifierBoxes_[i]->setChecked(r.chord.modifiers.contains(kModifierBoxes[i].bit));
    }

    int kind = static_cast<int>(r.action.value.index());
    actionKinds_->button(kind)->setChecked(true);
    actionPages_->setCurrentIndex(kind);
    std::visit(Overloaded{
                   [&](const Action::MoveWindow& move) {
                       direction_->setCurrentIndex(static_cast<int>(move.direction));
                   },
                   [&](const Action::SendKeystrokeSequence& send) {
                       // Only a different text is set, so the cursor stays where the user types.
                       QString text = QString::fromStdString(send.sequence);
                       if (sequence_->text() != text) sequence_->setText(text);
                   },
                   [&](const Action::MoveMouse& move) {
                       auto* screen = std::get_if<Action::MouseTarget::Screen>(&move.target.value);
                       mouseTarget_->setCurrentIndex(screen ? 1 : 0);
                       screenRow_->setVisible(screen != nullptr);
                       screen_->clear();
                       std::int64_t count = std::max(screenCount_(), 0);
                       for (std::int64_t i = 0; i < count; ++i)
                           screen_->addItem(QStringLiteral("Screen %1").arg(i), qlonglong(i));
                       if (screen) {
                           // A screen that is not attached now still shows as chosen.
                           if (screen->index < 0 || screen->index >= count) {
                               screen_->addItem(QStringLiteral("Screen %1").arg(screen->index),
                                                qlonglong(screen->index));
                           }
                           screen_->setCurrentIndex(screen_->findData(qlonglong(screen->index)));
                       }
                       position_->setCurrentIndex(static_cast<int>(move.position));
                   },
               },
               r.action.value);

    {
        QSignalBlocker quiet(swallow_);
        swallow_->setChecked(r.swallow);
    }
    auto note = passNote(r, pass_);
    passNote_->setText(note ? qt(*note) : QString());
    passNote_->setVisible(note.has_value());
    overrideTarn_->setCurrentIndex(
        r.overrideTarn ? static_cast<int>(std::find(kOverrideDirections.begin(),
                                                    kOverrideDirections.end(), *r.overrideTarn) -
                                          kOverrideDirections.begin()) +
                             1
                       : 0);
    bool horizontal = isHorizontalAction();
    filtersBlock_->setVisible(horizontal);
    filters_->setHorizontalAction(horizontal);
    filters_->setFilters(r.stateFilters.value_or(StateFilters{}));
}

void GlobalRuleEditPanel::recorded(std::uint16_t keyCode) {
    print("🔑 KeyRecorder callback - rule.id: " + ruleId_.text());
    print("🔑 Current ruleIndex: " + std::to_string(ruleIndex()));
    int found = ruleIndex();
    if (found < 0) {
        print("🔑 ERROR: Could not find rule with id " + ruleId_.text());
        return;
    }
    print("🔑 Found rule at index: " + std::to_string(found));
    change([&](HotkeyRule& rule) { rule.chord.keyCode = keyCode; });
}

}  // namespace tarn::agent::ui
