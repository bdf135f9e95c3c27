#pragma once

#include <QColor>
#include <QImage>
#include <QString>

namespace windlark::StatusItemPicture {

// The menu-bar item's width in points: 8 per character of its text plus 30 for the fan
// symbol and margins, never under 54, so the item does not jitter between short readings.
[[nodiscard]] int itemWidth(const QString& statusText);

// The reading short enough to draw inside a square tray icon: a percentage stays as it is,
// a speed becomes thousands with one decimal ("1650 RPM" -> "1.7k"), and a word (the
// unsupported "Fan") is left out because the fan symbol already says it.
[[nodiscard]] QString trayReading(const QString& statusText);

// The tray icon's picture, `side` pixels square: the fan symbol, with the short reading
// drawn over its lower part when there is one. Trays show no text beside an icon, so the
// reading has to be in the picture.
[[nodiscard]] QImage trayPicture(const QString& reading, int side, const QColor& ink);

} // namespace windlark::StatusItemPicture
