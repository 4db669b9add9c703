#pragma once

#include <QLabel>
#include <QString>
#include <QTableView>
#include <string_view>

namespace tarn::agent::ui {

// The settings window's text styles, one place for their fonts and colours.
QLabel* heading(const QString& text);      // a pane's title ("Global Hotkeys")
QLabel* headline(const QString& text);     // a block's bold title
QLabel* subheadline(const QString& text);  // a section label ("Action")
QLabel* caption(const QString& text);      // small secondary text
QLabel* secondary(const QString& text);    // secondary text at body size
QFrame* divider();

// A table of rules: whole rows, one at a time, read-only, compact rows, no grid.
QTableView* rulesTable(QAbstractItemModel* model);
// Shows `row` (or nothing, when it is negative) as the table's selection without telling
// the selection's listeners: the views keep their own selected rule.
void showSelectedRow(QTableView& table, int row);

inline QString qt(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

}  // namespace tarn::agent::ui
