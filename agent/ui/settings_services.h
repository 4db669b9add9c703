#pragma once

#include <QIcon>
#include <QString>
#include <optional>
#include <string>

class QWidget;

namespace tarn::agent::ui {}  // namespace tarn::agent::ui
namespace tarn::platform {
class AppIconNames;
}  // namespace tarn::platform
namespace tarn::agent::ui {

class AlertPresenter;
class WindowAccess;

// The save and open panels of export and import; absent when the user cancels.
class FileDialogs {
  public:
    virtual ~FileDialogs() = default;
    virtual std::optional<QString> saveFile(QWidget* parent, const QString& defaultName) = 0;
    virtual std::optional<QString> openFile(QWidget* parent) = 0;
};

// An application's icon by bundle identifier; a null icon when it has none.
class AppIcons {
  public:
    virtual ~AppIcons() = default;
    virtual QIcon icon(const std::string& bundleID) = 0;
    // Looks again next time (the set of running applications may have changed).
    virtual void refresh() {}
};

// What the settings window reaches outside itself for. Anything left null takes the real
// one (message boxes, file dialogs, the desktop's icons) or none (no windows to record).
struct SettingsServices {
    WindowAccess* windows = nullptr;
    AlertPresenter* alerts = nullptr;
    FileDialogs* files = nullptr;
    AppIcons* icons = nullptr;
    // The icons the desktop's files name, for the default icons; none: only the icons
    // windows publish.
    platform::AppIconNames* iconNames = nullptr;

    // The same with every null but `icons` replaced by its default (the icons depend on the
    // windows, so their owner makes them).
    SettingsServices resolved() const;
};

}  // namespace tarn::agent::ui
