#include "ui/Symbols.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>
#include <QTransform>
#include <array>

namespace windlark::Symbols {
namespace {

void paintFan(QPainter& painter, const QRectF& box, const QColor& ink) {
    const QPointF centre = box.center();
    const qreal radius = std::min(box.width(), box.height()) / 2.0;
    // One blade, pointing up, swept to the right; the others are it turned by 120 degrees.
    QPainterPath blade;
    blade.moveTo(0, -radius * 0.18);
    blade.cubicTo(radius * 0.05, -radius * 0.75, radius * 0.55, -radius * 1.02, radius * 0.62,
                  -radius * 0.62);
    blade.cubicTo(radius * 0.66, -radius * 0.35, radius * 0.35, -radius * 0.2, radius * 0.15,
                  -radius * 0.08);
    blade.closeSubpath();
    QPainterPath fan;
    for (const qreal angle : {0.0, 120.0, 240.0}) {
        fan.addPath(QTransform().rotate(angle).map(blade));
    }
    fan.addEllipse(QPointF(0, 0), radius * 0.2, radius * 0.2);
    fan.setFillRule(Qt::WindingFill);
    painter.save();
    painter.translate(centre);
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawPath(fan);
    painter.restore();
}

void paintSliders(QPainter& painter, const QRectF& box, const QColor& ink) {
    const qreal side = std::min(box.width(), box.height());
    const QRectF square(box.center() - QPointF(side / 2, side / 2), QSizeF(side, side));
    const std::array knobs{0.3, 0.7, 0.45};
    painter.save();
    painter.setPen(QPen(ink, side * 0.08, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(ink);
    for (std::size_t row = 0; row < knobs.size(); ++row) {
        const qreal y = square.top() + side * (0.2 + 0.3 * static_cast<qreal>(row));
        painter.drawLine(QPointF(square.left() + side * 0.1, y),
                         QPointF(square.right() - side * 0.1, y));
        painter.drawEllipse(QPointF(square.left() + side * knobs[row], y), side * 0.1, side * 0.1);
    }
    painter.restore();
}

void paintShield(QPainter& painter, const QRectF& box, const QColor& ink) {
    const qreal side = std::min(box.width(), box.height());
    const QPointF c = box.center();
    QPainterPath shield;
    shield.moveTo(c.x(), c.y() - side * 0.45);
    shield.lineTo(c.x() + side * 0.38, c.y() - side * 0.3);
    shield.cubicTo(c.x() + side * 0.38, c.y() + side * 0.1, c.x() + side * 0.2, c.y() + side * 0.33,
                   c.x(), c.y() + side * 0.47);
    shield.cubicTo(c.x() - side * 0.2, c.y() + side * 0.33, c.x() - side * 0.38, c.y() + side * 0.1,
                   c.x() - side * 0.38, c.y() - side * 0.3);
    shield.closeSubpath();
    painter.save();
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawPath(shield);
    painter.restore();
}

void paintArrowCycle(QPainter& painter, const QRectF& box, const QColor& ink) {
    const qreal side = std::min(box.width(), box.height());
    const QRectF ring(box.center() - QPointF(side * 0.32, side * 0.32),
                      QSizeF(side * 0.64, side * 0.64));
    painter.save();
    painter.setPen(QPen(ink, side * 0.1, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    painter.drawArc(ring, 90 * 16, 300 * 16);
    QPainterPath head;
    const QPointF tip(ring.center().x(), ring.top());
    head.moveTo(tip + QPointF(side * 0.2, 0));
    head.lineTo(tip + QPointF(-side * 0.02, -side * 0.16));
    head.lineTo(tip + QPointF(-side * 0.02, side * 0.16));
    head.closeSubpath();
    painter.setPen(Qt::NoPen);
    painter.setBrush(ink);
    painter.drawPath(head);
    painter.restore();
}

void paintPower(QPainter& painter, const QRectF& box, const QColor& ink) {
    const qreal side = std::min(box.width(), box.height());
    const QRectF ring(box.center() - QPointF(side * 0.32, side * 0.3),
                      QSizeF(side * 0.64, side * 0.64));
    painter.save();
    painter.setPen(QPen(ink, side * 0.1, Qt::SolidLine, Qt::RoundCap));
    painter.setBrush(Qt::NoBrush);
    // The ring opens at the top, where the bar stands.
    painter.drawArc(ring, 120 * 16, 300 * 16);
    painter.drawLine(QPointF(ring.center().x(), box.center().y() - side * 0.42),
                     QPointF(ring.center().x(), box.center().y() - side * 0.02));
    painter.restore();
}

} // namespace

void paint(QPainter& painter, Symbol symbol, const QRectF& box, const QColor& ink) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    switch (symbol) {
    case Symbol::fan:
        paintFan(painter, box, ink);
        break;
    case Symbol::sliders:
        paintSliders(painter, box, ink);
        break;
    case Symbol::shield:
        paintShield(painter, box, ink);
        break;
    case Symbol::arrowCycle:
        paintArrowCycle(painter, box, ink);
        break;
    case Symbol::power:
        paintPower(painter, box, ink);
        break;
    }
    painter.restore();
}

QIcon icon(Symbol symbol, const QColor& ink) {
    QIcon result;
    for (const int size : {16, 22, 32, 64}) {
        QPixmap pixmap(size, size);
        pixmap.fill(Qt::transparent);
        QPainter painter(&pixmap);
        paint(painter, symbol, QRectF(0, 0, size, size).adjusted(1, 1, -1, -1), ink);
        painter.end();
        result.addPixmap(pixmap);
    }
    return result;
}

} // namespace windlark::Symbols
