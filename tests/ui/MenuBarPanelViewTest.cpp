#include "ui/MenuBarPanelView.h"

#include "fakes/StoreRig.h"
#include "text/L10n.h"
#include "ui/QtText.h"
#include "ui/StatusBarController.h"

#include <QAbstractButton>
#include <QAction>
#include <QCoreApplication>
#include <QDir>
#include <QLabel>
#include <QMenu>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

namespace windlark {
namespace {

template <typename Widget = QWidget>
Widget* child(QWidget& root, const char* name) {
    auto* found = root.findChild<Widget*>(QLatin1String(name));
    EXPECT_NE(found, nullptr) << name;
    return found;
}

bool isShown(QWidget& root, const char* name) {
    return child(root, name)->isVisibleTo(&root);
}

// Every text a user can read in the widget: labels, buttons and, for windows, the title.
QStringList visibleTexts(QWidget& root) {
    QStringList texts;
    for (QLabel* label : root.findChildren<QLabel*>()) {
        if (label->isVisibleTo(&root) && !label->text().isEmpty()) {
            texts << label->text();
        }
    }
    for (QAbstractButton* button : root.findChildren<QAbstractButton*>()) {
        if (button->isVisibleTo(&root)) {
            texts << button->text();
        }
    }
    return texts;
}

// True when `text` is still the English of a key whose text in `language` differs: the
// literal part up to the first placeholder gives a formatted text away as well.
bool isLeftInEnglish(const QString& text, AppLanguage language) {
    for (const L10nKey key : allCases<L10nKey>) {
        const std::string_view english = L10n::text(key, AppLanguage::english);
        if (english == L10n::text(key, language)) {
            continue;
        }
        const std::size_t placeholder = english.find("%@");
        if (placeholder == std::string_view::npos
                ? text == toQString(english)
                : placeholder > 0 && text.startsWith(toQString(english.substr(0, placeholder)))) {
            return true;
        }
    }
    return false;
}

struct RowCase {
    const char* name;
    bool isUnsupported;
    PrivilegedHelperHealth health;
    bool turnsCurveOn;
    bool showsReset;
    bool showsHelper;
    const char* helperTitle;
    bool showsTest;
    bool isSwitchEnabled;
    const char* badge;
};

TEST(MenuBarPanelView, RowsFollowTheirFlagsAndNothingElseMoves) {
    PrivilegedHelperHealth notInstalled = PrivilegedHelperHealth::unavailable();
    notInstalled.isBundled = true;
    PrivilegedHelperHealth silent = StoreRig::healthyHelper();
    silent.hasHeartbeat = false;
    const std::vector<RowCase> cases = {
        {"unsupported", true, StoreRig::healthyHelper(), true, false, false, "", false, false,
         "System"},
        {"helper not installed", false, notInstalled, false, false, true,
         "Install Fan Control Helper", false, true, "System"},
        {"helper without heartbeat", false, silent, false, false, true, "Update Fan Control Helper",
         false, true, "System"},
        {"write capable, system", false, StoreRig::healthyHelper(), false, false, false, "", true,
         true, "System"},
        {"write capable, curve", false, StoreRig::healthyHelper(), true, true, false, "", true,
         true, "Curve"},
    };
    std::optional<QRect> editorRow;
    std::optional<QRect> quitRow;
    for (const RowCase& row : cases) {
        SCOPED_TRACE(row.name);
        StoreRig rig = StoreRig::oneFanMac();
        if (row.isUnsupported) {
            rig.controller->capabilities = StoreRig::unsupported();
        }
        rig.helper->health = row.health;
        WindlarkStore& store = rig.make({}, false);
        if (row.turnsCurveOn) {
            store.setCurveEnabled(true);
        }
        MenuBarPanelView panel(store, {});
        panel.show();

        EXPECT_EQ(isShown(panel, "resetButton"), row.showsReset);
        EXPECT_EQ(isShown(panel, "helperButton"), row.showsHelper);
        if (row.showsHelper) {
            EXPECT_EQ(child<QPushButton>(panel, "helperButton")->text(), row.helperTitle);
        }
        EXPECT_EQ(isShown(panel, "testButton"), row.showsTest);
        auto* curveSwitch = child<QAbstractButton>(panel, "curveSwitch");
        EXPECT_TRUE(curveSwitch->isVisibleTo(&panel));
        EXPECT_EQ(curveSwitch->isEnabled(), row.isSwitchEnabled);
        EXPECT_EQ(curveSwitch->isChecked(), store.isCurveEnabled());
        EXPECT_EQ(child<QLabel>(panel, "modeBadge")->text(), row.badge);
        for (const char* always :
             {"title", "temperatureValue", "fanValue", "curveValue", "limitValue", "curveEffect",
              "rangeCaption", "divider", "openEditorButton", "quitButton"}) {
            EXPECT_TRUE(isShown(panel, always)) << always;
        }
        EXPECT_FALSE(isShown(panel, "simulatedNote"));
        // The rows that come and go shift nothing above them, and Quit stays at the foot.
        const QRect editor = child(panel, "openEditorButton")->geometry();
        const QRect quit = child(panel, "quitButton")->geometry();
        EXPECT_EQ(editor, editorRow.value_or(editor));
        EXPECT_EQ(quit, quitRow.value_or(quit));
        editorRow = editor;
        quitRow = quit;
    }
}

TEST(MenuBarPanelView, TheSwitchAndTheButtonsDriveTheStore) {
    StoreRig rig = StoreRig::oneFanMac();
    rig.helper->health = StoreRig::healthyHelper();
    WindlarkStore& store = rig.make({}, false);
    int editorOpenings = 0;
    int quits = 0;
    MenuBarPanelView panel(store, {[&] { ++editorOpenings; }, [&] { ++quits; }, {}});
    panel.show();
    const QColor systemTint = MenuBarPanelView::modeTint(FanControlMode::system);
    EXPECT_TRUE(child(panel, "modeBadge")->styleSheet().contains(systemTint.name()));

    QTest::mouseClick(child(panel, "curveSwitch"), Qt::LeftButton);
    EXPECT_EQ(store.mode(), FanControlMode::curve);
    EXPECT_TRUE(isShown(panel, "resetButton"));
    const QColor curveTint = MenuBarPanelView::modeTint(FanControlMode::curve);
    EXPECT_NE(curveTint, systemTint);
    EXPECT_TRUE(child(panel, "modeBadge")->styleSheet().contains(curveTint.name()));

    rig.helper->calls.clear();
    QTest::mouseClick(child(panel, "testButton"), Qt::LeftButton);
    rig.leaseQueue->runAll();
    EXPECT_FALSE(rig.helper->leases.empty());

    EXPECT_FALSE(isShown(panel, "statusLine"));
    rig.helper->resetResult.message = "Helper did not answer within 8 seconds.";
    QTest::mouseClick(child(panel, "resetButton"), Qt::LeftButton);
    EXPECT_EQ(store.mode(), FanControlMode::system);
    EXPECT_EQ(rig.count("reset"), 1);
    EXPECT_FALSE(isShown(panel, "resetButton"));
    // What the helper said is the panel's status line.
    EXPECT_TRUE(isShown(panel, "statusLine"));
    EXPECT_EQ(child<QLabel>(panel, "statusLine")->text(),
              "Helper did not answer within 8 seconds.");

    QTest::mouseClick(child(panel, "openEditorButton"), Qt::LeftButton);
    QTest::mouseClick(child(panel, "quitButton"), Qt::LeftButton);
    EXPECT_EQ(editorOpenings, 1);
    EXPECT_EQ(quits, 1);
}

TEST(MenuBarPanelView, FollowsTheStoreOnlyWhileShown) {
    StoreRig rig = StoreRig::oneFanMac();
    MenuBarPanelView panel(rig.make({}, false), {});
    panel.show();
    auto* fanValue = child<QLabel>(panel, "fanValue");
    const auto tick = [&](double rpm) {
        rig.controller->actualRPM = rpm;
        rig.tick();
    };
    tick(2100.0);
    EXPECT_EQ(fanValue->text(), "2100 RPM");

    panel.hide();
    tick(2500.0);
    EXPECT_EQ(fanValue->text(), "2100 RPM");
    panel.show();
    EXPECT_EQ(fanValue->text(), "2500 RPM");

    panel.showMinimized();
    tick(2700.0);
    EXPECT_EQ(fanValue->text(), "2500 RPM");
    panel.showNormal();
    EXPECT_EQ(fanValue->text(), "2700 RPM");
}

// Every language is complete and fits the fixed panel, even with every optional row shown
// (a helper to install, the curve switched on, the simulated machine's note): nothing is
// left in English and no label is cut off. With WINDLARK_UI_PICTURES set to a folder, the
// panel's picture in each language is written there to be looked at.
TEST(MenuBarPanelView, EveryLanguageIsCompleteAndFitsThePanel) {
    StoreRig rig = StoreRig::oneFanMac();
    rig.isSimulatedMachine = true;
    rig.helper->health.isBundled = true;
    WindlarkStore& store = rig.make({}, false);
    store.setCurveEnabled(true);
    StatusBarController controller(store, {false, StatusBarController::PanelStyle::window}, {});
    controller.showEditorWindow();
    MenuBarPanelView& panel = *controller.panel();
    QWidget& editor = *controller.editorWindow();
    const QString pictures = qEnvironmentVariable("WINDLARK_UI_PICTURES");

    for (const AppLanguage language : allCases<AppLanguage>) {
        SCOPED_TRACE(std::string(rawValue(language)));
        store.setLanguage(language);
        const auto text = [language](L10nKey key) { return toQString(L10n::text(key, language)); };
        QStringList texts = visibleTexts(panel);
        for (QAction* action : controller.itemMenu()->actions()) {
            texts << action->text();
        }
        texts << panel.windowTitle() << editor.windowTitle();
        for (const QString& shown : texts) {
            EXPECT_FALSE(isLeftInEnglish(shown, language)) << shown.toStdString();
        }
        for (const L10nKey key :
             {L10nKey::controlWithCurve, L10nKey::openCurveEditor, L10nKey::resetToSystem,
              L10nKey::installHelper, L10nKey::quitWindlarkMac}) {
            EXPECT_TRUE(texts.contains(text(key))) << rawValue(key);
        }
        EXPECT_TRUE(texts.contains(toQString(displayName(FanControlMode::curve, language))));
        EXPECT_EQ(editor.windowTitle(), text(L10nKey::curveEditor));
        EXPECT_TRUE(
            child<QLabel>(panel, "simulatedNote")->text().startsWith(text(L10nKey::simulatedFan)));

        QCoreApplication::processEvents(); // the relayout the new texts asked for
        const QImage picture = panel.grab().toImage();
        EXPECT_EQ(picture.size(), MenuBarPanelView::contentSize);
        for (QLabel* label : panel.findChildren<QLabel*>()) {
            if (!label->isVisibleTo(&panel) || label->text().isEmpty()) {
                continue;
            }
            const std::string name = label->objectName().toStdString();
            EXPECT_TRUE(panel.rect().contains(QRect(label->mapTo(&panel, QPoint()), label->size())))
                << name;
            const int needed = label->wordWrap() ? label->heightForWidth(label->width())
                                                 : label->sizeHint().height();
            EXPECT_LE(needed, label->height()) << name;
            EXPECT_TRUE(label->wordWrap() || label->sizeHint().width() <= label->width()) << name;
        }
        if (!pictures.isEmpty()) {
            picture.save(QDir(pictures).filePath(
                QStringLiteral("panel-%1.png").arg(toQString(rawValue(language)))));
        }
    }
}

} // namespace
} // namespace windlark
