#include "fakes/SimulatedEditorStore.h"
#include "fakes/StoreRig.h"
#include "store/CurveGraphGeometry.h"
#include "text/L10n.h"
#include "ui/AxisSettingsView.h"
#include "ui/ContentView.h"
#include "ui/CurveGraphView.h"
#include "ui/CurvePointEditorSheet.h"
#include "ui/EditorStyle.h"
#include "ui/NumberField.h"
#include "ui/StatusSidebarView.h"

#include <QAbstractButton>
#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QTest>
#include <algorithm>
#include <gtest/gtest.h>
#include <memory>
#include <set>
#include <utility>

namespace windlark {
namespace {

// The simulated Mac's fan runs 1000...4900 RPM, so the balanced curve reads
// 35/1400, 52/2100, 68/3400, 82/4900, 94/4900 on the 30...100 C axis.
struct Editor {
    SimulatedEditorStore simulation;
    WindlarkStore& store = *simulation.store;
    std::unique_ptr<CurveGraphView> graph;

    CurveGraphView& showGraph(int width = 1280, int height = 820) {
        graph = std::make_unique<CurveGraphView>(store);
        graph->resize(width, height);
        graph->show();
        return *graph;
    }
    [[nodiscard]] WindlarkPoint point(std::size_t index) const {
        return store.profile().sortedPoints().at(index);
    }
    [[nodiscard]] WindlarkPoint point(const Uuid& id) const {
        return *std::ranges::find(store.profile().points, id, &WindlarkPoint::id);
    }
    // Where the graph draws a point.
    [[nodiscard]] QPoint centreOf(const WindlarkPoint& p) const {
        const CurveGraphGeometry geometry(graph->width(), graph->height(),
                                          store.profile().temperatureAxis, store.profile().rpmAxis);
        const GraphPoint centre = geometry.position(p.temperatureC, p.rpm);
        return QPointF(centre.x, centre.y).toPoint();
    }
};

void drag(CurveGraphView& graph, QPoint from, QPoint to) {
    QTest::mousePress(&graph, Qt::LeftButton, Qt::NoModifier, from);
    // Past the platform's drag threshold first, then to the end in a few steps.
    for (int step = 1; step <= 4; ++step) {
        QTest::mouseMove(&graph, from + (to - from) * step / 4);
    }
    QTest::mouseRelease(&graph, Qt::LeftButton, Qt::NoModifier, to);
}

TEST(CurveGraphView, DraggingBeyondThePlotStopsAtTheAxisEndsAndTheNeighbourBounds) {
    // The point, a target beyond the plot (which starts at (88, 34) and ends 36/62 before
    // the edges) and where the point stops.
    const std::tuple<std::size_t, QPoint, double, double> cases[] = {
        {0, {2, 2}, 30, 4900},   // the coldest point reaches the axis corner
        {1, {2, 818}, 36, 1000}, // 1 C above its neighbour at 35, the RPM floor
        {1, {1278, 400}, 67, 1000 + 3900 * 358.0 / 724}, // 1 C below 68, the RPM the height says
        {4, {1278, 818}, 100, 1000},                     // the hottest point to the far corner
    };
    for (const auto& [index, target, temperatureC, rpm] : cases) {
        Editor editor;
        CurveGraphView& graph = editor.showGraph();
        const WindlarkPoint before = editor.point(index);
        QTest::mouseMove(&graph, {600, 300}); // to a spot in the plot, without a button
        QTest::qWait(1);
        const int backdrops = graph.backdropRenderCount();
        // A click that wobbles less than the platform's drag distance moves nothing.
        const QPoint centre = editor.centreOf(before);
        QTest::mousePress(&graph, Qt::LeftButton, Qt::NoModifier, centre);
        QTest::mouseMove(&graph, centre + QPoint(2, 1));
        QTest::mouseRelease(&graph, Qt::LeftButton, Qt::NoModifier, centre + QPoint(2, 1));
        EXPECT_EQ(editor.point(index), before);

        drag(graph, centre, target);
        EXPECT_EQ(editor.point(before.id).temperatureC, temperatureC) << index;
        EXPECT_NEAR(editor.point(before.id).rpm, rpm, 1e-9) << index;
        // A drag repaints the curve, never the cached grid and histogram.
        QApplication::processEvents();
        EXPECT_EQ(graph.backdropRenderCount(), backdrops);
    }
}

TEST(CurveGraphView, CrowdedPointsAreSelectedButNeverMovedAndTheGraphSaysWhy) {
    Editor editor;
    // Raising the axis minimum to 90 C clamps the four coldest points onto it; the first of
    // them has no room at all (the axis end on one side, a neighbour on the other).
    editor.store.updateTemperatureAxis(90, std::nullopt);
    CurveGraphView& graph = editor.showGraph();
    const WindlarkPoint crowded = editor.point(0);
    ASSERT_FALSE(editor.store.profile().editingBounds(crowded.id).has_value());

    const std::vector<WindlarkPoint> before = editor.store.profile().points;
    drag(graph, editor.centreOf(crowded), {700, 300});
    EXPECT_EQ(graph.selectedPoint(), crowded.id);
    QTest::keyClick(&graph, Qt::Key_Left);
    QTest::keyClick(&graph, Qt::Key_Up);
    EXPECT_EQ(editor.store.profile().points, before);
    EXPECT_TRUE(
        graph.paintedTexts().contains(EditorStyle::qtext(editor.store, L10nKey::crowdedPoint)));

    graph.selectPoint(editor.point(4).id);
    EXPECT_FALSE(
        graph.paintedTexts().contains(EditorStyle::qtext(editor.store, L10nKey::crowdedPoint)));
}

// Where each step stops is the geometry's rule; here, which key moves which way.
TEST(CurveGraphView, ArrowKeysStepTheSelectedPoint) {
    Editor editor;
    CurveGraphView& graph = editor.showGraph(900, 520);
    graph.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&graph));
    graph.clearFocus();
    graph.setFocus(Qt::TabFocusReason);   // tabbing in selects the coldest point
    QTest::keyClick(&graph, Qt::Key_Tab); // and Tab the next one, 52 C / 2100 RPM
    const WindlarkPoint second = editor.point(1);
    ASSERT_EQ(graph.selectedPoint(), second.id);
    const std::tuple<Qt::Key, double, double> steps[] = {{Qt::Key_Right, 53, 2100},
                                                         {Qt::Key_Left, 52, 2100},
                                                         {Qt::Key_Up, 52, 2150},
                                                         {Qt::Key_Down, 52, 2100},
                                                         {Qt::Key_Down, 52, 2050}};
    for (const auto& [key, temperatureC, rpm] : steps) {
        QTest::keyClick(&graph, key);
        EXPECT_EQ(editor.point(1), (WindlarkPoint{second.id, temperatureC, rpm})) << key;
    }
}

TEST(CurvePointEditorSheet, TypedValuesAreSavedClampedAndNonNumbersKeepThePoint) {
    // What is typed into both fields and what the point takes; the second point may take
    // 36...67 C and 1000...4900 RPM.
    const std::tuple<const char*, const char*, double, double> cases[] = {
        {"200", "9000", 67, 4900},   {"-5", "-5", 36, 1000},           {"abc", "2500", 52, 2500},
        {"60 C", "1,500", 60, 1500}, {"44,5", "3000 RPM", 44.5, 3000},
    };
    for (const auto& [typedTemperature, typedRPM, temperatureC, rpm] : cases) {
        Editor editor;
        CurveGraphView& graph = editor.showGraph(900, 520);
        const WindlarkPoint second = editor.point(1);
        // The point's value label sits just above it; a click there opens the sheet.
        QTest::mouseClick(&graph, Qt::LeftButton, Qt::NoModifier,
                          editor.centreOf(second) - QPoint(0, 26));
        CurvePointEditorSheet* sheet = graph.pointEditor();
        ASSERT_NE(sheet, nullptr);
        EXPECT_EQ(sheet->pointID(), second.id);
        EXPECT_EQ(sheet->temperatureField()->text(), "52");
        sheet->temperatureField()->setText(QString::fromUtf8(typedTemperature));
        sheet->rpmField()->setText(QString::fromUtf8(typedRPM));
        QTest::mouseClick(sheet->saveButton(), Qt::LeftButton);
        EXPECT_EQ(editor.point(1), (WindlarkPoint{second.id, temperatureC, rpm}))
            << typedTemperature;
    }

    // Cancel changes nothing; closing the window under an open sheet keeps what was saved.
    Editor editor;
    std::unique_ptr<CurveGraphView>& graph = editor.graph;
    editor.showGraph();
    const WindlarkProfile before = editor.store.profile();
    CurvePointEditorSheet* sheet = graph->openPointEditor(editor.point(2).id);
    sheet->temperatureField()->setText("70");
    QTest::mouseClick(sheet->cancelButton(), Qt::LeftButton);
    EXPECT_EQ(editor.store.profile(), before);
    graph->openPointEditor(editor.point(2).id)->temperatureField()->setText("70");
    graph.reset();
    EXPECT_EQ(editor.store.profile(), before);
}

TEST(AxisSettingsView, FieldsRefuseTextThatIsNoNumberAndKeepTheProfileRules) {
    // The field, what is typed and what the field shows afterwards.
    const std::tuple<NumberField* (AxisSettingsView::*)() const, const char*, QString> cases[] = {
        {&AxisSettingsView::temperatureMinimumField, "warm", "30"},
        {&AxisSettingsView::temperatureMinimumField, "99", "95"}, // 5 C below the maximum
        {&AxisSettingsView::temperatureMaximumField, "20 C", "35"},
        {&AxisSettingsView::rpmMaximumField, "50", "1100"}, // 100 RPM above the minimum
        {&AxisSettingsView::rpmMinimumField, "1.2.3", "1000"},
        {&AxisSettingsView::safetyLimitField, "150", "100"},   // within the temperature axis
        {&AxisSettingsView::fanOffThresholdField, "90", "85"}, // 1 C below the limit
    };
    for (const auto& [fieldOf, typed, shown] : cases) {
        Editor editor;
        editor.store.updateFanOffThresholdEnabled(true);
        AxisSettingsView view(editor.store);
        view.show();
        QApplication::setActiveWindow(&view);
        NumberField* field = (view.*fieldOf)();
        field->setFocus();
        field->selectAll();
        QTest::keyClicks(field, QString::fromUtf8(typed));
        QTest::keyClick(field, Qt::Key_Return);
        EXPECT_EQ(field->text(), shown) << typed;
    }
}

// Every text a person can see in the window: labels, buttons, pickers and what the graph
// paints.
std::multiset<QString> visibleTexts(const ContentView& view) {
    std::multiset<QString> texts;
    for (const QWidget* widget : view.findChildren<QWidget*>()) {
        if (!widget->isVisibleTo(&view)) {
            continue;
        }
        if (const auto* label = qobject_cast<const QLabel*>(widget)) {
            texts.insert(label->text());
        } else if (const auto* button = qobject_cast<const QAbstractButton*>(widget)) {
            texts.insert(button->text());
        } else if (const auto* picker = qobject_cast<const QComboBox*>(widget)) {
            texts.insert(picker->currentText());
        }
    }
    for (const QString& text : view.graph()->paintedTexts()) {
        texts.insert(text);
    }
    texts.erase(QString());
    return texts;
}

TEST(ContentView, ChangingTheLanguageRetranslatesEveryVisibleText) {
    Editor editor;
    editor.simulation.run(20);
    ContentView view(editor.store);
    view.resize(1280, 820);
    view.show();
    const std::multiset<QString> english = visibleTexts(view);
    // It says plainly that the machine is simulated.
    EXPECT_EQ(english.count(EditorStyle::qtext(editor.store, L10nKey::simulatedMachine)), 1U);

    editor.store.setLanguage(AppLanguage::japanese);
    const std::multiset<QString> retranslated = visibleTexts(view);

    // The same window built in Japanese from the start shows exactly the same texts.
    ContentView fresh(editor.store);
    fresh.resize(1280, 820);
    fresh.show();
    EXPECT_EQ(retranslated, visibleTexts(fresh));

    // And no English text of the table is left where Japanese has its own.
    std::set<QString> englishOnly;
    for (const L10nKey key : allCases<L10nKey>) {
        const std::string_view en = L10n::text(key, AppLanguage::english);
        if (en != L10n::text(key, AppLanguage::japanese)) {
            englishOnly.insert(EditorStyle::qtext(en));
        }
    }
    std::size_t translated = 0;
    for (const QString& text : english) {
        translated += englishOnly.count(text);
        EXPECT_EQ(englishOnly.count(text) * retranslated.count(text), 0U) << text.toStdString();
    }
    EXPECT_GT(translated, 20U);
}

// Two processor temperatures, the second of them chosen once and then gone.
class FakeSensorPicker final : public TemperatureSensorPicker {
public:
    std::vector<TemperatureSensorChoice> sensors{
        {"k10temp#temp1", "k10temp", "Tctl", 51.0, true, true},
        {"nvme#temp1", "nvme", "Composite", std::nullopt, false, false}};
    std::optional<std::string> chosen;
    std::optional<std::string> notice;

    std::vector<TemperatureSensorChoice> temperatureSensors() override { return sensors; }
    void chooseTemperatureSensor(const std::optional<std::string>& id) override { chosen = id; }
    [[nodiscard]] std::optional<std::string> chosenTemperatureSensor() const override {
        return chosen;
    }
    std::optional<std::string> takeSensorNotice(AppLanguage) override {
        return std::exchange(notice, std::nullopt);
    }
};

TEST(StatusSidebarView, OffersThisComputersSensorsWithTheDefaultFirst) {
    Editor editor;
    FakeSensorPicker picker;
    ContentView view(editor.store);
    view.setTemperatureSensorPicker(&picker);
    view.show();
    QComboBox* sensors = view.sidebar()->sensorPicker();
    ASSERT_EQ(sensors->count(), 3);
    EXPECT_EQ(sensors->itemText(0), "Default: Tctl");
    EXPECT_EQ(sensors->itemText(1), "Tctl (k10temp)  51 C");
    EXPECT_EQ(sensors->itemText(2), "Composite (nvme)");

    sensors->activated(2);
    EXPECT_EQ(picker.chosen, "nvme#temp1");
    EXPECT_EQ(sensors->currentIndex(), 2);
    sensors->activated(0);
    EXPECT_EQ(picker.chosen, std::nullopt);

    const std::string notice =
        "The saved temperature sensor nvme#temp1 is not present; using Tctl.";
    picker.notice = notice;
    editor.simulation.run(2);
    EXPECT_EQ(visibleTexts(view).count(QString::fromStdString(notice)), 1U);
    EXPECT_EQ(
        visibleTexts(view).count(EditorStyle::qtext(editor.store, L10nKey::temperatureSensor)), 1U);
}

// The fan calibration the Linux daemon offers: the button only while a fan needs
// measuring, the run's progress in the chosen language, and a way to stop it.
TEST(StatusSidebarView, CalibrationIsOfferedFollowedAndCancelledInTheChosenLanguage) {
    StoreRig rig = StoreRig::oneFanMac();
    rig.helper->calibration = HelperCalibrationStatus{2, ""};
    WindlarkStore& store = rig.make({}, false);
    ContentView view(store);
    view.show();
    const auto button = [&](L10nKey key) -> QPushButton* {
        for (QPushButton* found : view.findChildren<QPushButton*>()) {
            if (found->isVisibleTo(&view) && found->text() == EditorStyle::qtext(store, key)) {
                return found;
            }
        }
        return nullptr;
    };
    const auto shows = [&](const char* text) {
        return visibleTexts(view).count(QString::fromUtf8(text)) == 1;
    };
    EXPECT_TRUE(shows("Calibrate fans"));
    EXPECT_EQ(button(L10nKey::cancel), nullptr);

    rig.helper->calibration = HelperCalibrationStatus{2, "fan 1 of 2 (pwmfan@/p#fan1): 40 %"};
    store.calibrateFans(); // as the confirmed dialog does
    EXPECT_EQ(button(L10nKey::calibrateFans), nullptr);
    EXPECT_TRUE(shows("Calibrating fan 1 of 2 (pwmfan@/p#fan1): 40 %"));
    store.setLanguage(AppLanguage::japanese);
    EXPECT_TRUE(shows("ファンを較正中 1/2（pwmfan@/p#fan1）: 40 %"));

    rig.helper->calibration = HelperCalibrationStatus{0, "failed: stalled"};
    ASSERT_NE(button(L10nKey::cancel), nullptr);
    button(L10nKey::cancel)->click();
    EXPECT_EQ(rig.count("cancelCalibration"), 1);
    EXPECT_TRUE(shows("前回の較正: 失敗: stalled"));
    EXPECT_EQ(button(L10nKey::calibrateFans), nullptr);
}

} // namespace
} // namespace windlark
