#include "agent/ui/alerts.h"

#include <QGridLayout>
#include <QLabel>
#include <QMessageBox>
#include <QPushButton>

namespace tarn::agent::ui {

int MessageBoxPresenter::present(const Alert& alert) {
    QMessageBox box(
        alert.style == Alert::Style::warning ? QMessageBox::Warning : QMessageBox::Information,
        alert.message, alert.message);
    box.setInformativeText(alert.informative);
    std::vector<QAbstractButton*> buttons;
    for (const QString& title : alert.buttons) {
        // The first button is the default, as the desktop's alerts make it.
        auto role = buttons.empty() ? QMessageBox::AcceptRole : QMessageBox::ActionRole;
        buttons.push_back(box.addButton(title, role));
    }
    if (!buttons.empty()) box.setDefaultButton(static_cast<QPushButton*>(buttons.front()));
    if (!alert.link.isEmpty()) {
        auto* link =
            new QLabel(QStringLiteral("<a href=\"%1\">%1</a>").arg(alert.link.toHtmlEscaped()));
        link->setObjectName("link");
        link->setOpenExternalLinks(true);
        link->setTextInteractionFlags(Qt::TextBrowserInteraction);
        link->setFixedSize(250, 20);
        if (auto* grid = qobject_cast<QGridLayout*>(box.layout())) {
            grid->addWidget(link, grid->rowCount(), 1);
        }
    }
    box.exec();
    auto pressed = std::find(buttons.begin(), buttons.end(), box.clickedButton());
    return pressed == buttons.end() ? -1 : static_cast<int>(pressed - buttons.begin());
}

}  // namespace tarn::agent::ui
