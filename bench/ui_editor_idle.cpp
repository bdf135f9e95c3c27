// What the open editor window costs while nobody touches it: the simulated Mac on the real
// clock and Qt's main loop, the 2-second control loop running and the window repainting
// what each reading changes. Prints the process's processor time as a share of one core.
//
//   ui_editor_idle [seconds]    (600 by default)

#include "fakes/SimulatedEditorStore.h"
#include "support/Clock.h"
#include "ui/ContentView.h"
#include "ui/QtMainLoop.h"

#include <QApplication>
#include <QTimer>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>

namespace {

double processorSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& t) {
        return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

} // namespace

int main(int argc, char** argv) {
    using namespace windlark;
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 600;
    if (seconds <= 0) {
        std::fprintf(stderr, "usage: ui_editor_idle [seconds]\n");
        return 2;
    }

    SimulatedEditorStore simulation(std::make_shared<SystemClock>(),
                                    std::make_shared<QtMainLoop>());
    ContentView view(*simulation.store);
    view.resize(1280, 820);
    view.show();
    QApplication::processEvents();

    // Measured from here: start-up and the first layout are not part of the idle cost.
    const double startProcessor = processorSeconds();
    const auto startWall = std::chrono::steady_clock::now();
    QTimer::singleShot(std::chrono::seconds(seconds), &application, &QApplication::quit);
    QApplication::exec();
    const double processor = processorSeconds() - startProcessor;
    const double wall =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - startWall).count();
    std::printf("wall %.1f s, processor %.3f s, %.3f %% of one core\n", wall, processor,
                100.0 * processor / wall);
    return 0;
}
