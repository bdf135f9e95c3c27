#include "ui/StatusBarController.h"

#include "fakes/StoreRig.h"
#include "text/L10n.h"
#include "ui/MenuBarPanelView.h"
#include "ui/QtText.h"
#include "ui/StatusItemPicture.h"

#include <QAction>
#include <QMenu>
#include <QPushButton>
#include <QSignalSpy>
#include <QTest>
#include <gtest/gtest.h>

namespace windlark {
namespace {

using Presentation = StatusBarController::Presentation;
using PanelStyle = StatusBarController::PanelStyle;

constexpr Presentation kNoTray{false, PanelStyle::window};
constexpr Presentation kX11Tray{true, PanelStyle::besideTrayIcon};

TEST(StatusBarController, PresentationFollowsThePlatform) {
    const auto presentation = [](const char* platform, bool hasTray) {
        return StatusBarController::presentationFor(QLatin1String(platform), hasTray);
    };
    EXPECT_EQ(presentation("cocoa", false), (Presentation{true, PanelStyle::attachedToItem}));
    EXPECT_EQ(presentation("xcb", true), kX11Tray);
    EXPECT_EQ(presentation("xcb", false), kNoTray);
    EXPECT_EQ(presentation("wayland", true), (Presentation{true, PanelStyle::window}));
    EXPECT_EQ(presentation("wayland-egl", false), kNoTray);
    EXPECT_EQ(presentation("offscreen", false), kNoTray);
}

TEST(StatusBarController, PanelSitsByTheItemInsideTheScreen) {
    const QRect screen(0, 25, 1440, 875); // under a 25-point menu bar
    // Under a top item, centred; kept off the right and the left edge; above a bottom tray;
    // and with nothing known of the screen.
    const std::tuple<QRect, QRect, QPoint> cases[] = {
        {QRect(700, 0, 40, 24), screen, QPoint(570, 28)},
        {QRect(1400, 0, 40, 24), screen, QPoint(1140, 28)},
        {QRect(0, 0, 40, 24), screen, QPoint(0, 28)},
        {QRect(1380, 870, 22, 22), QRect(0, 0, 1440, 868), QPoint(1140, 436)},
        {QRect(10, 0, 20, 20), QRect(), QPoint(-130, 24)},
    };
    for (const auto& [anchor, available, expected] : cases) {
        EXPECT_EQ(
            StatusBarController::panelPosition(anchor, MenuBarPanelView::contentSize, available),
            expected)
            << anchor.x();
    }
}

TEST(StatusBarController, ItemWidthFollowsItsText) {
    const std::tuple<FanHardwareCapabilities, const char*, int> cases[] = {
        {StoreRig::unsupported(), "Fan", 54},
        {FanHardwareCapabilities::make(1, 1000.0, 4900.0, 1650.0, "SMC"), "17%", 54},
        // No range: the speed.
        {FanHardwareCapabilities::make(1, std::nullopt, std::nullopt, 1650.0, "SMC"), "1650 RPM",
         94},
    };
    for (const auto& [capabilities, text, width] : cases) {
        StoreRig rig = StoreRig::oneFanMac();
        rig.controller->capabilities = capabilities;
        const StatusBarController controller(rig.make({}, false), kNoTray, {});
        EXPECT_EQ(controller.statusText(), text);
        EXPECT_EQ(controller.itemWidth(), width) << text;
    }
}

TEST(StatusItemPicture, TrayReadingShortensSpeedsAndLeavesWordsOut) {
    const std::pair<const char*, const char*> cases[] = {
        {"43%", "43%"},      {" 950 RPM", "950"},  {"1234 RPM", "1.2k"}, {"9949 RPM", "9.9k"},
        {"9950 RPM", "10k"}, {"12345 RPM", "12k"}, {"-- RPM", "--"},     {"inf RPM", "--"},
        {"1e999 RPM", "--"}, {"Fan", ""}};
    for (const auto& [statusText, reading] : cases) {
        EXPECT_EQ(StatusItemPicture::trayReading(QString::fromUtf8(statusText)),
                  QString::fromUtf8(reading))
            << statusText;
    }
}

TEST(StatusBarController, TrayPictureChangesOnlyWhenItsTextDoes) {
    StoreRig rig = StoreRig::oneFanMac();
    WindlarkStore& store = rig.make({}, false);
    StatusBarController controller(store, kNoTray, {});
    QSignalSpy redrawn(&controller, &StatusBarController::statusItemRedrawn);
    const QImage first = controller.statusItemPicture();
    ASSERT_FALSE(first.isNull());

    const auto tick = [&](double rpm) {
        rig.controller->actualRPM = rpm;
        rig.tick();
    };
    tick(1650.0);
    tick(1652.0);                           // still 17%
    store.setLanguage(AppLanguage::korean); // a percentage reads the same in every language
    EXPECT_EQ(redrawn.count(), 0);
    EXPECT_EQ(controller.statusItemPicture(), first);

    tick(2000.0);
    ASSERT_EQ(redrawn.count(), 1);
    EXPECT_EQ(redrawn.at(0).at(0).toString(), "26%");
    EXPECT_NE(controller.statusItemPicture(), first);
    tick(2000.0);
    EXPECT_EQ(redrawn.count(), 1);

    // Without a fan the item shows a word, which does change with the language.
    StoreRig fanless = StoreRig::oneFanMac();
    fanless.controller->capabilities = StoreRig::unsupported();
    StatusBarController fanlessController(fanless.make({}, false), kNoTray, {});
    QSignalSpy fanlessRedrawn(&fanlessController, &StatusBarController::statusItemRedrawn);
    fanless.store->setLanguage(AppLanguage::spanish);
    ASSERT_EQ(fanlessRedrawn.count(), 1);
    const QString word = toQString(L10n::text(L10nKey::fan, AppLanguage::spanish));
    EXPECT_EQ(fanlessRedrawn.at(0).at(0).toString(), word);
    QAction* reading = fanlessController.itemMenu()->actions().at(0);
    EXPECT_EQ(reading->text(), word);
    EXPECT_FALSE(reading->isEnabled()); // a reading only
}

TEST(StatusBarController, TheEditorWindowIsCreatedOnceAndAWindowIsNeverLost) {
    StoreRig rig = StoreRig::oneFanMac();
    StatusBarController controller(rig.make({}, false), kNoTray, {});
    EXPECT_EQ(controller.editorWindow(), nullptr);
    EXPECT_TRUE(controller.panel()->isVisible()); // nothing in a tray: the panel shows itself

    QTest::mouseClick(controller.panel()->findChild<QPushButton*>("openEditorButton"),
                      Qt::LeftButton);
    QWidget* editor = controller.editorWindow();
    ASSERT_NE(editor, nullptr);
    EXPECT_TRUE(editor->isVisible());
    EXPECT_EQ(editor->size(), StatusBarController::editorWindowDefaultSize);
    EXPECT_EQ(editor->minimumSize(), StatusBarController::editorWindowMinimumSize);

    editor->close();
    controller.showEditorWindow();
    EXPECT_EQ(controller.editorWindow(), editor);
    EXPECT_TRUE(editor->isVisible());
    // The panel window stays where it is beside the editor, and closing it only minimises it.
    EXPECT_TRUE(controller.panel()->isVisible());
    controller.panel()->close();
    EXPECT_TRUE(controller.panel()->isVisible());
    EXPECT_TRUE(controller.panel()->isMinimized());
}

TEST(StatusBarController, PopupTogglesAndGivesWayToTheEditor) {
    StoreRig rig = StoreRig::oneFanMac();
    StatusBarController controller(rig.make({}, false), kX11Tray, {});
    MenuBarPanelView& panel = *controller.panel();
    EXPECT_FALSE(panel.isVisible()); // the tray icon is there to open it
    controller.togglePanel();
    EXPECT_TRUE(panel.isVisible());
    controller.togglePanel();
    EXPECT_FALSE(panel.isVisible());
    // The click that closed the popup from outside does not open it again at once.
    controller.togglePanel();
    EXPECT_FALSE(panel.isVisible());
    QTest::qWait(300);
    controller.togglePanel();
    EXPECT_TRUE(panel.isVisible());
    controller.showEditorWindow();
    EXPECT_FALSE(panel.isVisible());
}

} // namespace
} // namespace windlark
