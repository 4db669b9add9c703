#include "agent/ui/status_bar.h"

#include <QCursor>
#include <QMenu>
#include <QSystemTrayIcon>

#include "agent/ui/alerts.h"
#include "agent/ui/platform_texts.h"
#include "agent/ui/style.h"
#include "agent/ui/symbols.h"
#include "core/commands/version.h"

namespace tarn::agent::ui {

StatusBarController::StatusBarController(Callbacks callbacks, platform::LoginItem& loginItem,
                                         AlertPresenter& alerts, QObject* parent)
    : QObject(parent),
      callbacks_(std::move(callbacks)),
      loginItem_(loginItem),
      alerts_(alerts),
      menu_(std::make_unique<QMenu>()) {
    tray_ = new QSystemTrayIcon(trayIcon(), this);
    tray_->setToolTip("Wendle");
    buildMenu();
    tray_->setContextMenu(menu_.get());
    // A plain click opens the menu too, as the other mouse button does.
    connect(tray_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason why) {
                if (why == QSystemTrayIcon::Trigger) menu_->popup(QCursor::pos());
            });
}

StatusBarController::~StatusBarController() = default;

void StatusBarController::show() {
    tray_->show();
}

void StatusBarController::buildMenu() {
    menu_->clear();
    auto add = [this](const QString& title, void (StatusBarController::*slot)(),
                      const QKeySequence& shortcut = {}) {
        QAction* action = menu_->addAction(title);
        action->setShortcut(shortcut);
        connect(action, &QAction::triggered, this, slot);
    };
    // Qt's Ctrl is the Command key on macOS: ⌘, and ⌘Q there, Ctrl+, and Ctrl+Q here.
    add("Settings…", &StatusBarController::openSettings, QKeySequence(Qt::CTRL | Qt::Key_Comma));
    menu_->addSeparator();
    add("Request Accessibility Permission…", &StatusBarController::requestPermissions);
    menu_->addSeparator();
    add(loginItem_.status() == platform::LoginItemStatus::enabled ? "Remove from Login Items"
                                                                  : "Start at Login",
        &StatusBarController::toggleLoginItem);
    menu_->addSeparator();
    add("Help", &StatusBarController::showHelp);
    add("About Wendle", &StatusBarController::showAbout);
    menu_->addSeparator();
    add("Quit", &StatusBarController::quitApp, QKeySequence(Qt::CTRL | Qt::Key_Q));
}

void StatusBarController::openSettings() {
    if (callbacks_.onOpenSettings) callbacks_.onOpenSettings();
}

void StatusBarController::requestPermissions() {
    if (callbacks_.onRequestPermissions) callbacks_.onRequestPermissions();
}

void StatusBarController::quitApp() {
    if (callbacks_.onQuit) callbacks_.onQuit();
}

void StatusBarController::toggleLoginItem() {
    // The state now, not the one the title was chosen from: something else may have
    // changed it since.
    std::string error;
    bool done = loginItem_.status() == platform::LoginItemStatus::enabled
                    ? loginItem_.unregisterItem(error)
                    : loginItem_.registerItem(error);
    if (done) {
        buildMenu();
        return;
    }
    alerts_.present(
        {.style = Alert::Style::warning,
         .message = "Login Item Error",
         .informative = "Failed to update login item status: " + QString::fromStdString(error),
         .buttons = {"OK"},
         .link = {}});
}

void StatusBarController::showHelp() {
    const PlatformTexts& texts = platformTexts();
    int answer = alerts_.present(
        {.style = Alert::Style::informational,
         .message = "Wendle Troubleshooting",
         .informative = qt(texts.troubleshooting),
         .buttons = {"OK", qt(texts.troubleshootingSecondButton), "Request Permissions Now"},
         .link = {}});
    if (answer == 1) {
        // There is no system pane to send a Linux user to; the settings window shows which
        // hotkeys could not be taken.
        openSettings();
    } else if (answer == 2) {
        requestPermissions();
    }
}

void StatusBarController::showAbout() {
    alerts_.present({.style = Alert::Style::informational,
                     .message = "Wendle",
                     .informative = "Version " +
                                    QString::fromStdString(commands::TarnVersion::versionString()) +
                                    "\n\n" + kOwnershipNotice,
                     .buttons = {"OK"},
                     .link = kWebsite});
}

}  // namespace tarn::agent::ui
