#include "agent/ui/symbols.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <cmath>

namespace tarn::agent::ui {
namespace {

const char* themeName(Symbol symbol) {
    switch (symbol) {
        case Symbol::checkmarkCircleFill:
            return "emblem-default";
        case Symbol::circle:
            return nullptr;  // themes have no plain empty circle
        case Symbol::gear:
            return "preferences-system";
        case Symbol::locationFill:
            return nullptr;
        case Symbol::chevronLeft:
            return "go-previous";
        case Symbol::gearBadgeCheckmark:
            return nullptr;
        case Symbol::warning:
            return "dialog-warning";
    }
    return nullptr;
}

void drawGear(QPainter& p, QPointF centre, double radius, const QColor& colour) {
    QPainterPath gear;
    constexpr int teeth = 8;
    for (int i = 0; i < teeth * 2; ++i) {
        double angle = M_PI * i / teeth;
        double r = (i % 2 == 0) ? radius : radius * 0.78;
        double spread = M_PI / teeth / 2;
        QPointF a = centre + QPointF(r * std::cos(angle - spread), r * std::sin(angle - spread));
        QPointF b = centre + QPointF(r * std::cos(angle + spread), r * std::sin(angle + spread));
        if (i == 0)
            gear.moveTo(a);
        else
            gear.lineTo(a);
        gear.lineTo(b);
    }
    gear.closeSubpath();
    gear.addEllipse(centre, radius * 0.35, radius * 0.35);
    gear.setFillRule(Qt::OddEvenFill);
    p.fillPath(gear, colour);
}

QPixmap draw(Symbol symbol, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    const double s = size;
    const QColor ink(0x3a, 0x3a, 0x3c);
    const QColor accent(0x1e, 0x88, 0xe5);
    QPen pen(ink, s / 10.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    switch (symbol) {
        case Symbol::checkmarkCircleFill: {
            p.setPen(Qt::NoPen);
            p.setBrush(accent);
            p.drawEllipse(QRectF(s * 0.06, s * 0.06, s * 0.88, s * 0.88));
            p.setPen(QPen(Qt::white, s / 9.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.drawPolyline(QPolygonF({QPointF(s * 0.3, s * 0.52), QPointF(s * 0.44, s * 0.66),
                                      QPointF(s * 0.7, s * 0.36)}));
            break;
        }
        case Symbol::circle:
            p.setPen(QPen(QColor(0x8e, 0x8e, 0x93), s / 12.0));
            p.drawEllipse(QRectF(s * 0.1, s * 0.1, s * 0.8, s * 0.8));
            break;
        case Symbol::gear:
            drawGear(p, QPointF(s / 2, s / 2), s * 0.46, ink);
            break;
        case Symbol::locationFill: {
            QPainterPath arrow;
            arrow.moveTo(s * 0.88, s * 0.12);
            arrow.lineTo(s * 0.12, s * 0.45);
            arrow.lineTo(s * 0.5, s * 0.5);
            arrow.lineTo(s * 0.55, s * 0.88);
            arrow.closeSubpath();
            p.fillPath(arrow, accent);
            break;
        }
        case Symbol::chevronLeft:
            p.setPen(pen);
            p.drawPolyline(QPolygonF({QPointF(s * 0.62, s * 0.18), QPointF(s * 0.32, s * 0.5),
                                      QPointF(s * 0.62, s * 0.82)}));
            break;
        case Symbol::gearBadgeCheckmark:
            drawGear(p, QPointF(s * 0.42, s * 0.42), s * 0.4, accent);
            p.setPen(Qt::NoPen);
            p.setBrush(accent.darker(130));
            p.drawEllipse(QRectF(s * 0.52, s * 0.52, s * 0.46, s * 0.46));
            p.setPen(QPen(Qt::white, s / 14.0, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.drawPolyline(QPolygonF({QPointF(s * 0.63, s * 0.76), QPointF(s * 0.72, s * 0.85),
                                      QPointF(s * 0.88, s * 0.66)}));
            break;
        case Symbol::warning: {
            QPainterPath triangle;
            triangle.moveTo(s * 0.5, s * 0.08);
            triangle.lineTo(s * 0.95, s * 0.9);
            triangle.lineTo(s * 0.05, s * 0.9);
            triangle.closeSubpath();
            p.fillPath(triangle, QColor(0xf5, 0xa6, 0x23));
            p.setPen(QPen(Qt::black, s / 10.0, Qt::SolidLine, Qt::RoundCap));
            p.drawLine(QPointF(s * 0.5, s * 0.36), QPointF(s * 0.5, s * 0.62));
            p.drawPoint(QPointF(s * 0.5, s * 0.77));
            break;
        }
    }
    return pixmap;
}

}  // namespace

QIcon drawnSymbolIcon(Symbol symbol) {
    QIcon icon;
    for (int size : {16, 24, 32, 48}) {
        QPixmap pixmap = draw(symbol, size);
        icon.addPixmap(pixmap);
        // Unchanged on a selected row: the style's tint would wash the accent colour out.
        icon.addPixmap(pixmap, QIcon::Selected);
    }
    return icon;
}

QIcon symbolIcon(Symbol symbol) {
    if (const char* name = themeName(symbol); name && QIcon::hasThemeIcon(name)) {
        return QIcon::fromTheme(name);
    }
    return drawnSymbolIcon(symbol);
}

QIcon trayIcon() {
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter p(&pixmap);
        p.setRenderHint(QPainter::Antialiasing);
        const double s = size;
        // A window with a title bar and an arrow pushing it right: white strokes on a dark
        // rim, so the mark keeps its outline on a light panel and its light on a dark one.
        QRectF frame(s * 0.1, s * 0.16, s * 0.8, s * 0.68);
        QPainterPath arrow;
        arrow.moveTo(s * 0.3, s * 0.58);
        arrow.lineTo(s * 0.62, s * 0.58);
        arrow.moveTo(s * 0.52, s * 0.47);
        arrow.lineTo(s * 0.64, s * 0.58);
        arrow.lineTo(s * 0.52, s * 0.69);
        for (auto [colour, width] : {std::pair{QColor(0x20, 0x20, 0x20), s / 5.0},
                                     std::pair{QColor(Qt::white), s / 11.0}}) {
            p.setPen(QPen(colour, width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
            p.setBrush(Qt::NoBrush);
            p.drawRoundedRect(frame, s * 0.08, s * 0.08);
            p.drawLine(QPointF(frame.left(), s * 0.34), QPointF(frame.right(), s * 0.34));
            p.drawPath(arrow);
        }
        icon.addPixmap(pixmap);
    }
    return icon;
}

}  // namespace tarn::agent::ui
