#include "agent/ui/style.h"

#include <QApplication>
#include <QFrame>
#include <QHeaderView>
#include <QSignalBlocker>

namespace tarn::agent::ui {
namespace {

QLabel* label(const QString& text, double scale, bool bold, bool dim) {
    auto* label = new QLabel(text);
    QFont font = label->font();
    if (scale != 1.0) font.setPointSizeF(font.pointSizeF() * scale);
    font.setBold(bold);
    label->setFont(font);
    if (dim) {
        QPalette palette = label->palette();
        palette.setColor(QPalette::WindowText, palette.color(QPalette::PlaceholderText));
        label->setPalette(palette);
    }
    label->setWordWrap(true);
    return label;
}

}  // namespace

QLabel* heading(const QString& text) {
    return label(text, 1.5, true, false);
}
QLabel* headline(const QString& text) {
    return label(text, 1.0, true, false);
}
QLabel* subheadline(const QString& text) {
    return label(text, 0.95, false, false);
}
QLabel* caption(const QString& text) {
    return label(text, 0.85, false, true);
}
QLabel* secondary(const QString& text) {
    return label(text, 1.0, false, true);
}

QFrame* divider() {
    auto* line = new QFrame;
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QTableView* rulesTable(QAbstractItemModel* model) {
    auto* table = new QTableView;
    table->setModel(model);
    table->setSelectionBehavior(QAbstractItemView::SelectRows);
    table->setSelectionMode(QAbstractItemView::SingleSelection);
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setAlternatingRowColors(true);
    table->setShowGrid(false);
    table->verticalHeader()->hide();
    table->verticalHeader()->setDefaultSectionSize(24);
    table->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    return table;
}

void showSelectedRow(QTableView& table, int row) {
    auto* selection = table.selectionModel();
    QSignalBlocker quiet(selection);
    if (row < 0) {
        selection->clearSelection();
    } else {
        QModelIndex first = table.model()->index(row, 0);
        selection->setCurrentIndex(first,
                                   QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        table.scrollTo(first);
    }
    table.viewport()->update();
}

}  // namespace tarn::agent::ui
