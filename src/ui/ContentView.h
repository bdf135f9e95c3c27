#pragma once

#include <QWidget>

namespace windlark {

class WindlarkStore;

// The curve editor window's content. For now it only says what will live here; the
// editor's graph, axis settings and sidebar take its place.
class ContentView final : public QWidget {
    Q_OBJECT

public:
    explicit ContentView(WindlarkStore& store, QWidget* parent = nullptr);
};

} // namespace windlark
