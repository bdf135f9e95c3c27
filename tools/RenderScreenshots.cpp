// Renders the editor window with the real widgets, offscreen, for the README: a simulated
// Mac mini after an hour of readings, so that the temperature histogram has something to
// show. One language per run, so that each picture gets its language's font.
//
//   windlark-screenshots --language ja --output docs/editor-ja.png [--sheet docs/sheet-ja.png]

#include "fakes/SimulatedEditorStore.h"
#include "text/AppLanguage.h"
#include "ui/ContentView.h"
#include "ui/CurveGraphView.h"
#include "ui/CurvePointEditorSheet.h"

#include <QApplication>
#include <QFont>
#include <QImage>
#include <QPixmap>
#include <QString>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

using namespace windlark;

// The CJK family whose Han shapes suit the language; its Latin letters suit English too.
QString fontFamily(AppLanguage language) {
    switch (language) {
    case AppLanguage::korean:
        return QStringLiteral("Noto Sans CJK KR");
    case AppLanguage::chineseSimplified:
        return QStringLiteral("Noto Sans CJK SC");
    case AppLanguage::english:
    case AppLanguage::japanese:
    case AppLanguage::spanish:
        break;
    }
    return QStringLiteral("Noto Sans CJK JP");
}

bool save(QWidget& widget, const QString& path) {
    QApplication::processEvents();
    if (!widget.grab().toImage().save(path, "PNG")) {
        std::fprintf(stderr, "could not write %s\n", path.toUtf8().constData());
        return false;
    }
    std::printf("%s\n", path.toUtf8().constData());
    return true;
}

} // namespace

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);

    std::optional<AppLanguage> language = AppLanguage::english;
    QString output;
    QString sheetOutput;
    const QStringList arguments = QApplication::arguments();
    for (qsizetype i = 1; i + 1 < arguments.size(); i += 2) {
        if (arguments[i] == QLatin1String("--language")) {
            language = fromRawValue<AppLanguage>(arguments[i + 1].toStdString());
        } else if (arguments[i] == QLatin1String("--output")) {
            output = arguments[i + 1];
        } else if (arguments[i] == QLatin1String("--sheet")) {
            sheetOutput = arguments[i + 1];
        }
    }
    if (!language || output.isEmpty()) {
        std::fprintf(stderr, "usage: windlark-screenshots --language en|ko|ja|zh-Hans|es "
                             "--output FILE.png [--sheet FILE.png]\n");
        return 2;
    }
    QFont font(fontFamily(*language));
    font.setPointSizeF(9.5);
    QApplication::setFont(font);

    // An hour of the control loop in virtual time, the curve driving the fan and the
    // fan-off threshold on, so that every layer of the graph is in the picture.
    SimulatedEditorStore simulation;
    WindlarkStore& store = *simulation.store;
    store.setLanguage(*language);
    store.setThermalHistoryWindow(ThermalHistoryWindow::oneHour);
    simulation.run(3600.0);
    store.updateFanOffThresholdEnabled(true);
    store.setCurveEnabled(true);
    simulation.run(4.0);

    ContentView view(store);
    view.resize(1280, 820);
    view.show();
    if (!save(view, output)) {
        return 1;
    }
    if (!sheetOutput.isEmpty()) {
        const WindlarkPoint point = store.profile().sortedPoints().at(2);
        CurvePointEditorSheet* sheet = view.graph()->openPointEditor(point.id);
        sheet->adjustSize();
        if (!save(*sheet, sheetOutput)) {
            return 1;
        }
    }
    return 0;
}
