#pragma once

#include "store/WindlarkStore.h"
#include "text/L10n.h"

#include <QColor>
#include <QFont>
#include <QString>
#include <string_view>

class QLabel;
class QWidget;

// The editor window's shared look and the small conversions every one of its views needs.
namespace windlark::EditorStyle {

// The curve, its points and the histogram.
inline QColor accent() {
    return {0x12, 0x9a, 0x90};
}
// Points that cannot move, and the simulated-machine note.
inline QColor caution() {
    return {0xc7, 0x7c, 0x0e};
}
// The safety limit.
inline QColor danger() {
    return {0xcf, 0x3f, 0x3f};
}

inline QString qtext(std::string_view text) {
    return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}
inline QString qtext(const WindlarkStore& store, L10nKey key) {
    return qtext(L10n::text(key, store.language()));
}

// A number as an input field shows it: whole numbers without a fraction, others with one
// decimal, never with a unit or grouping, so that it reads back as it is.
[[nodiscard]] QString editableNumber(double value);

// A label in the secondary text colour, wrapping.
void makeSecondary(QLabel* label);
// A bold section title.
void makeTitle(QLabel* label, qreal scale = 1.0);
// A rounded card around a group of controls.
void makeCard(QWidget* widget);

} // namespace windlark::EditorStyle
