#include "agent/ui/settings_services.h"

#include <QFileDialog>

#include "agent/ui/alerts.h"
#include "agent/ui/window_access.h"

namespace tarn::agent::ui {
namespace {

class QtFileDialogs final : public FileDialogs {
  public:
    std::optional<QString> saveFile(QWidget* parent, const QString& defaultName) override {
        QString path =
            QFileDialog::getSaveFileName(parent, "Export Settings", defaultName, "JSON (*.json)");
        if (path.isEmpty()) return std::nullopt;
        return path;
    }
    std::optional<QString> openFile(QWidget* parent) override {
        QString path = QFileDialog::getOpenFileName(parent, "Import Settings", {}, "JSON (*.json)");
        if (path.isEmpty()) return std::nullopt;
        return path;
    }
};

}  // namespace

SettingsServices SettingsServices::resolved() const {
    static DesktopWindowAccess noWindows(nullptr);
    static MessageBoxPresenter messageBoxes;
    static QtFileDialogs fileDialogs;
    return {.windows = windows ? windows : &noWindows,
            .alerts = alerts ? alerts : &messageBoxes,
            .files = files ? files : &fileDialogs,
            .icons = icons,
            .iconNames = iconNames};
}

}  // namespace tarn::agent::ui
