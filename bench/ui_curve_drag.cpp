// One step of dragging a curve point in the editor: the store takes the new position (and,
// as it does for every edit, reads a snapshot and decides on the lease), then the graph
// repaints at its default size of 1280 x 820. With an empty history and with a full day of
// readings in the 24-hour window, to show that the history does not weigh on the drag.

#include "fakes/SimulatedEditorStore.h"
#include "ui/CurveGraphView.h"

#include <QApplication>
#include <benchmark/benchmark.h>
#include <cstdlib>

namespace windlark {
namespace {

constexpr int kRepetitions = 9;

enum class Repaint {
    changedRegion, // what the event loop does after a step: only the pieces that moved
    wholeGraph,    // the whole widget, for comparison
};

void dragStep(benchmark::State& state, Repaint repaint) {
    const bool hasFullDay = state.range(0) != 0;
    SimulatedEditorStore simulation;
    WindlarkStore& store = *simulation.store;
    store.setThermalHistoryWindow(ThermalHistoryWindow::twentyFourHours);
    if (hasFullDay) {
        simulation.run(CompactThermalHistory::retentionSeconds);
    }
    CurveGraphView graph(store);
    graph.resize(1280, 820);
    graph.show();
    QApplication::processEvents();

    const Uuid id = store.profile().sortedPoints().at(2).id;
    const int backdropsBefore = graph.backdropRenderCount();
    int step = 0;
    for (auto _ : state) {
        // A pointer moving back and forth across the point's room, a frame at a time.
        const double phase = static_cast<double>(step++ % 20);
        simulation.clock->advance(1.0 / 60.0);
        store.updatePoint(id, 56.0 + phase / 2.0, 2600.0 + phase * 40.0);
        if (repaint == Repaint::wholeGraph) {
            graph.repaint();
        } else {
            QApplication::processEvents();
        }
    }
    state.counters["samples"] = static_cast<double>(store.thermalHistory().size());
    state.counters["backdrops"] =
        benchmark::Counter(static_cast<double>(graph.backdropRenderCount() - backdropsBefore),
                           benchmark::Counter::kAvgIterations);
}

void dragStepChangedRegion(benchmark::State& state) {
    dragStep(state, Repaint::changedRegion);
}
void dragStepWholeGraph(benchmark::State& state) {
    dragStep(state, Repaint::wholeGraph);
}

BENCHMARK(dragStepChangedRegion)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);
BENCHMARK(dragStepWholeGraph)
    ->Arg(0)
    ->Arg(1)
    ->Unit(benchmark::kMicrosecond)
    ->Repetitions(kRepetitions)
    ->ReportAggregatesOnly(true);

} // namespace
} // namespace windlark

int main(int argc, char** argv) {
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
