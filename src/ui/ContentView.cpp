#include "ui/ContentView.h"

#include "store/WindlarkStore.h"
#include "text/L10n.h"
#include "ui/QtText.h"

#include <QLabel>
#include <QVBoxLayout>

namespace windlark {

ContentView::ContentView(WindlarkStore& store, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    auto* label =
        new QLabel(toQString(L10n::text(L10nKey::curveEditorSubtitle, store.language())), this);
    label->setWordWrap(true);
    label->setAlignment(Qt::AlignCenter);
    layout->addWidget(label);
}

} // namespace windlark
