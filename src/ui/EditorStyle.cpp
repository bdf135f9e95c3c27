#include "ui/EditorStyle.h"

#include <QFrame>
#include <QLabel>
#include <QPalette>
#include <cmath>

namespace windlark::EditorStyle {

QString editableNumber(double value) {
    const double tenths = std::round(value * 10.0) / 10.0;
    return QString::number(tenths, 'f', tenths == std::round(tenths) ? 0 : 1);
}

void makeSecondary(QLabel* label) {
    QPalette palette = label->palette();
    QColor ink = palette.color(QPalette::WindowText);
    ink.setAlphaF(0.64F);
    palette.setColor(QPalette::WindowText, ink);
    label->setPalette(palette);
    label->setWordWrap(true);
}

void makeTitle(QLabel* label, qreal scale) {
    QFont font = label->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * scale);
    label->setFont(font);
}

void makeCard(QWidget* widget) {
    widget->setObjectName(QStringLiteral("card"));
    widget->setStyleSheet(QStringLiteral("#card { background: palette(base); border: 1px solid "
                                         "palette(midlight); border-radius: 8px; }"));
}

} // namespace windlark::EditorStyle
