#pragma once

#include <QObject>
#include <functional>
#include <memory>

#include "platform/app_events.h"

class QAction;
class QMenu;
class QSystemTrayIcon;

namespace tarn::agent::ui {

class AlertPresenter;

// The agent's icon in the system tray and its menu. It knows nothing of the configuration or
// the key interception: settings, the permission check and quitting are callbacks of the
// application; the login item it switches itself.
class StatusBarController final : public QObject {
    Q_OBJECT
  public:
    struct Callbacks {
        std::function<void()> onOpenSettings;
        std::function<void()> onRequestPermissions;
        std::function<void()> onQuit;
    };

    StatusBarController(Callbacks callbacks, platform::LoginItem& loginItem, AlertPresenter& alerts,
                        QObject* parent = nullptr);
    ~StatusBarController() override;

    // Fills the menu afresh; the login item's title reads its state at this moment.
    void buildMenu();
    QMenu* menu() const { return menu_.get(); }
    QSystemTrayIcon* tray() const { return tray_; }
    // Shows the icon in the tray.
    void show();

    void openSettings();
    void requestPermissions();
    void toggleLoginItem();
    void showHelp();
    void showAbout();
    void quitApp();

  private:
    Callbacks callbacks_;
    platform::LoginItem& loginItem_;
    AlertPresenter& alerts_;
    std::unique_ptr<QMenu> menu_;  // a menu has no parent widget; owned here
    QSystemTrayIcon* tray_ = nullptr;
};

// The About alert's web address and the notice under the version.
inline constexpr const char* kWebsite = "https://tarn.example.org";
inline constexpr const char* kOwnershipNotice = "© 2026 The Tarn developers.";

}  // namespace tarn::agent::ui
