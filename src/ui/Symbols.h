#pragma once

#include <QColor>
#include <QIcon>
#include <QImage>
#include <QRectF>

class QPainter;

namespace windlark::Symbols {

// The program draws its own symbols, so no image file from elsewhere ships with it and
// every symbol takes the text colour of the palette it sits in.
enum class Symbol {
    fan,        // three blades around a hub
    sliders,    // three horizontal sliders: the curve editor
    shield,     // a shield: install or update the helper
    arrowCycle, // a circling arrow: refresh, or back to the system's control
    power,      // a broken ring with a bar: quit
};

void paint(QPainter& painter, Symbol symbol, const QRectF& box, const QColor& ink);

// The symbol at the usual small sizes (16, 22, 32 and 64 pixels).
[[nodiscard]] QIcon icon(Symbol symbol, const QColor& ink);

} // namespace windlark::Symbols
