#include "agent/ui/saved_locations_editor.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

#include "agent/saved_locations.h"
#include "agent/ui/alerts.h"
#include "agent/ui/style.h"
#include "agent/ui/window_access.h"
#include "support/number_text.h"

namespace tarn::agent::ui {

QString wholeNumberText(double value) {
    // Adding zero turns the -0 of a cut-off -0.5 into 0.
    double whole = std::trunc(value) + 0.0;
    if (auto exact = support::exactInt64(whole)) return QString::number(*exact);
    return qt(support::doubleText(whole));
}

SavedLocationEditor::SavedLocationEditor(ConfigStore& store, std::string bundleID,
                                         WindowAccess& windows, AlertPresenter& alerts,
                                         QWidget* parent)
    : QWidget(parent),
      store_(store),
      bundleID_(std::move(bundleID)),
      windows_(windows),
      alerts_(alerts) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(6);
    column->addWidget(headline("Saved Window Locations"));
    column->addWidget(
        caption("Saved locations will be added to the window positioning cycle "
                "for this app."));
    auto* row = new QHBoxLayout;
    row->setSpacing(12);
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        Slot& slot = slots_[i];
        slot.box = new QFrame;
        slot.box->setObjectName(QStringLiteral("location%1").arg(i + 1));
        slot.box->setStyleSheet(
            QStringLiteral("QFrame#%1 { background: palette(alternate-base); border-radius: 6px; }")
                .arg(slot.box->objectName()));
        auto* box = new QVBoxLayout(slot.box);
        box->setContentsMargins(10, 8, 10, 8);
        box->setSpacing(4);
        box->addWidget(subheadline(QStringLiteral("Location %1").arg(i + 1)));
        slot.screen = caption({});
        QPalette plain = slot.screen->palette();
        plain.setColor(QPalette::WindowText, palette().color(QPalette::WindowText));
        slot.screen->setPalette(plain);
        slot.position = caption({});
        slot.size = caption({});
        for (QLabel* small : {slot.position, slot.size}) {
            QFont font = small->font();
            font.setPointSizeF(font.pointSizeF() * 0.92);
            small->setFont(font);
        }
        slot.empty = caption("Empty");
        QFont italic = slot.empty->font();
        italic.setItalic(true);
        slot.empty->setFont(italic);
        for (QLabel* label : {slot.screen, slot.position, slot.size, slot.empty}) {
            box->addWidget(label);
        }
        box->addStretch(1);
        auto* buttons = new QHBoxLayout;
        auto* record = new QPushButton("Record Here");
        record->setDefault(true);  // the prominent one
        slot.clear = new QPushButton("Clear");
        for (QPushButton* button : {record, slot.clear}) {
            QFont font = button->font();
            font.setPointSizeF(font.pointSizeF() * 0.85);
            button->setFont(font);
            button->setAutoDefault(false);
            buttons->addWidget(button);
        }
        buttons->addStretch(1);
        box->addLayout(buttons);
        row->addWidget(slot.box, 1);
        connect(record, &QPushButton::clicked, this, [this, i] { recordCurrentLocation(i); });
        connect(slot.clear, &QPushButton::clicked, this, [this, i] { clearLocation(i); });
    }
    column->addLayout(row);
    refresh();
    listener_ = store_.addListener([this] { refresh(); });
}

SavedLocationEditor::~SavedLocationEditor() {
    store_.removeListener(listener_);
}

const AppConfig* SavedLocationEditor::app() const {
    const auto& apps = store_.config().appConfigs;
    auto it = std::find_if(apps.begin(), apps.end(),
                           [&](const AppConfig& entry) { return entry.bundleID == bundleID_; });
    return it == apps.end() ? nullptr : &*it;
}

void SavedLocationEditor::refresh() {
    const AppConfig* entry = app();
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        Slot& slot = slots_[i];
        bool filled = entry && i < entry->savedLocations.size();
        if (filled) {
            const SavedWindowLocation& location = entry->savedLocations[i];
            const platform::Rect& f = location.frame;
            slot.screen->setText(QStringLiteral("Screen: %1").arg(location.screenIndex));
            slot.position->setText(
                QStringLiteral("Pos: %1, %2").arg(wholeNumberText(f.x), wholeNumberText(f.y)));
            slot.size->setText(QStringLiteral("Size: %1 × %2")
                                   .arg(wholeNumberText(f.width), wholeNumberText(f.height)));
        }
        for (QWidget* shown :
             std::initializer_list<QWidget*>{slot.screen, slot.position, slot.size, slot.clear}) {
            shown->setVisible(filled);
        }
        slot.empty->setVisible(!filled);
    }
}

void SavedLocationEditor::showError(const QString& message) {
    alerts_.present({.style = Alert::Style::warning,
                     .message = "Cannot Record Position",
                     .informative = message,
                     .buttons = {"OK"},
                     .link = {}});
}

void SavedLocationEditor::recordCurrentLocation(std::size_t slot) {
    const AppConfig* entry = app();
    if (!entry) return;
    QString appName = qt(entry->displayName);
    auto pid = windows_.runningApp(bundleID_);
    if (!pid) {
        showError(appName + " is not currently running. Please launch it first.");
        return;
    }
    auto windows = windows_.windows(*pid);
    if (windows.empty()) {
        alerts_.present({.style = Alert::Style::warning,
                         .message = "Cannot Find Window",
                         .informative = "Could not detect any windows for " + appName +
                                        ". Make sure the app has at least one visible window.",
                         .buttons = {"OK"},
                         .link = {}});
        return;
    }
    // The application's own first window, focused or not, as the desktop lists them.
    auto position = windows_.position(windows.front());
    if (!position) return showError("Could not get window position.");
    auto size = windows_.size(windows.front());
    if (!size) return showError("Could not get window size.");
    platform::Rect frame{position->x, position->y, size->width, size->height};
    SavedWindowLocation location{.frame = frame,
                                 .screenIndex = screenIndexOf(frame, windows_.screens()),
                                 .screenSpecific = true};
    store_.update([&](RootConfig& config) {
        for (auto& candidate : config.appConfigs) {
            if (candidate.bundleID == bundleID_) {
                storeInSlot(candidate.savedLocations, slot, location);
                return;
            }
        }
    });
}

void SavedLocationEditor::clearLocation(std::size_t slot) {
    store_.update([&](RootConfig& config) {
        for (auto& candidate : config.appConfigs) {
            if (candidate.bundleID == bundleID_) {
                auto& locations = candidate.savedLocations;
                if (slot < locations.size()) {
                    locations.erase(locations.begin() + static_cast<std::ptrdiff_t>(slot));
                }
                return;
            }
        }
    });
}

}  // namespace tarn::agent::ui
