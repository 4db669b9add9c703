#include "agent/ui/state_filters_editor.h"

#include <QCheckBox>
#include <QGridLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "agent/ui/style.h"

namespace tarn::agent::ui {
namespace {

using Flag = bool StateFilters::*;
struct Row {
    const char* label;
    Flag primary;
    Flag secondary;
};
constexpr std::array<Row, 3> kRows{{
    {"Full Width:", &StateFilters::fullWidthOnPrimary, &StateFilters::fullWidthOnSecondary},
    {"Align Right:", &StateFilters::alignRightOnPrimary, &StateFilters::alignRightOnSecondary},
    {"Align Left:", &StateFilters::alignLeftOnPrimary, &StateFilters::alignLeftOnSecondary},
}};

}  // namespace

StateFiltersEditor::StateFiltersEditor(QWidget* parent) : QFrame(parent) {
    setObjectName("stateFilters");
    // The control background at half opacity in a rounded box, whatever the palette.
    QColor box = palette().color(QPalette::Base);
    box.setAlphaF(0.5);
    setStyleSheet(QStringLiteral("QFrame#stateFilters { background: %1; border-radius: 8px; }")
                      .arg(box.name(QColor::HexArgb)));
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(12, 8, 12, 8);
    column->setSpacing(8);
    column->addWidget(headline("State Availability"));
    column->addWidget(
        caption("Control which window states appear on primary vs secondary screens"));
    auto* grid = new QGridLayout;
    grid->setHorizontalSpacing(12);
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        const Row& row = kRows[i];
        auto* label = subheadline(row.label);
        label->setFixedWidth(100);
        label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        int line = static_cast<int>(i);
        grid->addWidget(label, line, 0);
        for (int side = 0; side < 2; ++side) {
            Flag flag = side == 0 ? row.primary : row.secondary;
            auto* box = new QCheckBox(side == 0 ? "Primary" : "Secondary");
            box->setObjectName(QString(row.label).remove(':').remove(' ') +
                               (side == 0 ? "Primary" : "Secondary"));
            boxes_[i * 2 + static_cast<std::size_t>(side)] = box;
            grid->addWidget(box, line, 1 + side);
            connect(box, &QCheckBox::toggled, this, [this, flag](bool on) {
                filters_.*flag = on;
                emit filtersEdited(filters_);
            });
        }
    }
    grid->setColumnStretch(3, 1);
    column->addLayout(grid);
    auto* footnote = secondary("Unchecking a state skips it during cycling on that screen type");
    footnote->setContentsMargins(0, 4, 0, 0);
    column->addWidget(footnote);
    setFilters(filters_);
}

void StateFiltersEditor::setFilters(const StateFilters& filters) {
    filters_ = filters;
    for (std::size_t i = 0; i < kRows.size(); ++i) {
        for (std::size_t side = 0; side < 2; ++side) {
            QCheckBox* box = boxes_[i * 2 + side];
            QSignalBlocker quiet(box);
            box->setChecked(filters.*(side == 0 ? kRows[i].primary : kRows[i].secondary));
        }
    }
}

}  // namespace tarn::agent::ui
