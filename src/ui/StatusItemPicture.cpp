#include "ui/StatusItemPicture.h"

#include "ui/Symbols.h"

#include <QFont>
#include <QFontMetricsF>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

namespace windlark::StatusItemPicture {

int itemWidth(const QString& statusText) {
    // Characters as the user counts them: "43%" is three, whatever its encoding.
    const auto characters = static_cast<int>(statusText.toUcs4().size());
    return std::max(54, 8 * characters + 30);
}

QString trayReading(const QString& statusText) {
    const QString text = statusText.trimmed();
    if (text.endsWith(QLatin1Char('%'))) {
        return text;
    }
    static const QString rpmSuffix = QStringLiteral(" RPM");
    if (!text.endsWith(rpmSuffix)) {
        return {};
    }
    bool isNumber = false;
    const double rpm = text.chopped(rpmSuffix.size()).toDouble(&isNumber);
    if (!isNumber || !std::isfinite(rpm)) {
        return QStringLiteral("--");
    }
    if (std::abs(rpm) < 1000.0) {
        return QString::number(std::lround(rpm));
    }
    const double thousands = rpm / 1000.0;
    // Ten thousand and more would not fit with a decimal; nothing spins that fast anyway.
    return std::abs(thousands) < 9.95 ? QString::number(thousands, 'f', 1) + QLatin1Char('k')
                                      : QString::number(std::lround(thousands)) + QLatin1Char('k');
}

QImage trayPicture(const QString& reading, int side, const QColor& ink) {
    QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF whole(0, 0, side, side);
    if (reading.isEmpty()) {
        Symbols::paint(painter, Symbols::Symbol::fan, whole.adjusted(1, 1, -1, -1), ink);
        return image;
    }
    // The fan keeps the upper part; the reading takes the lower half at the largest bold
    // size that fits the width, outlined so it stays legible over the blades and any panel.
    Symbols::paint(painter, Symbols::Symbol::fan, QRectF(side * 0.2, 0, side * 0.6, side * 0.6),
                   ink);
    QFont font;
    font.setBold(true);
    font.setPixelSize(std::max(1, static_cast<int>(side * 0.5)));
    const QRectF textBox(0, side * 0.5, side, side * 0.5);
    const qreal textWidth = QFontMetricsF(font).horizontalAdvance(reading);
    if (textWidth > textBox.width()) {
        font.setPixelSize(
            std::max(1, static_cast<int>(font.pixelSize() * textBox.width() / textWidth)));
    }
    QPainterPath text;
    const QFontMetricsF metrics(font);
    const qreal x = (side - metrics.horizontalAdvance(reading)) / 2.0;
    const qreal y = textBox.bottom() - metrics.descent();
    text.addText(QPointF(x, y), font, reading);
    const QColor halo = ink.lightness() > 128 ? QColor(0, 0, 0, 160) : QColor(255, 255, 255, 160);
    painter.setPen(QPen(halo, std::max(1.0, side / 16.0)));
    painter.drawPath(text);
    painter.fillPath(text, ink);
    return image;
}

} // namespace windlark::StatusItemPicture
