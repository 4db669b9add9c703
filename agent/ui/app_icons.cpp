#include "agent/ui/app_icons.h"

#include <QFileInfo>
#include <QImage>
#include <QPixmap>

#include "agent/ui/window_access.h"

namespace tarn::agent::ui {

QIcon DesktopAppIcons::icon(const std::string& bundleID) {
    auto it = known_.find(bundleID);
    if (it == known_.end()) it = known_.emplace(bundleID, lookUp(bundleID)).first;
    return it->second;
}

QIcon DesktopAppIcons::lookUp(const std::string& bundleID) {
    if (auto name = names_ ? names_->iconName(bundleID) : std::nullopt) {
        // An absolute path, or a name in the icon theme; one that is not there falls through.
        QString icon = QString::fromStdString(*name);
        QFileInfo file(icon);
        if (file.isAbsolute() ? file.isFile() : QIcon::hasThemeIcon(icon)) {
            return file.isAbsolute() ? QIcon(icon) : QIcon::fromTheme(icon);
        }
    }
    auto pid = windows_.runningApp(bundleID);
    if (!pid) return {};
    auto windows = windows_.windows(*pid);
    if (windows.empty()) return {};
    // Twice the drawn size, so the picture stays sharp on a scaled screen.
    auto published = windows_.windowIcon(windows.front(), kSize * 2);
    if (!published || published->width <= 0 || published->height <= 0 ||
        published->argb.size() < static_cast<std::size_t>(published->width) *
                                     static_cast<std::size_t>(published->height)) {
        return {};
    }
    QImage image(published->width, published->height, QImage::Format_ARGB32);
    for (int y = 0; y < published->height; ++y) {
        auto* row = reinterpret_cast<QRgb*>(image.scanLine(y));
        for (int x = 0; x < published->width; ++x) {
            row[x] = published->argb[static_cast<std::size_t>(y * published->width + x)];
        }
    }
    // A small picture is drawn at its own size, not enlarged: enlarge it here.
    if (image.width() < kSize) {
        image = image.scaled(kSize, kSize, Qt::KeepAspectRatio, Qt::SmoothTransformation);
    }
    return QIcon(QPixmap::fromImage(image));
}

}  // namespace tarn::agent::ui
