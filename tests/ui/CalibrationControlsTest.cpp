// The editor's fan calibration, as the Linux daemon offers it: the button only while a
// fan needs measuring, the run's progress in the chosen language, and a way to stop it.

#include "StoreFixture.h"
#include "ui/ContentView.h"
#include "ui/EditorStyle.h"

#include <QLabel>
#include <QPushButton>
#include <gtest/gtest.h>

namespace windlark {
namespace {

// The visible button with this text, if there is one.
QPushButton* buttonNamed(const QWidget& view, const QString& text) {
    for (QPushButton* button : view.findChildren<QPushButton*>()) {
        if (button->isVisibleTo(&view) && button->text() == text) {
            return button;
        }
    }
    return nullptr;
}

bool showsLabel(const QWidget& view, const QString& text) {
    for (const QLabel* label : view.findChildren<QLabel*>()) {
        if (label->isVisibleTo(&view) && label->text() == text) {
            return true;
        }
    }
    return false;
}

TEST(StatusSidebarView, CalibrationIsOfferedFollowedAndCancelledInTheChosenLanguage) {
    StoreFixture fixture;
    fixture.helper->calibration = HelperCalibrationStatus{2, ""};
    const auto store = fixture.makeStore();
    ContentView view(*store);
    view.show();
    ASSERT_NE(buttonNamed(view, "Calibrate fans"), nullptr);
    EXPECT_EQ(buttonNamed(view, "Cancel"), nullptr);

    fixture.helper->calibration = HelperCalibrationStatus{2, "fan 1 of 2 (pwmfan@/p#fan1): 40 %"};
    store->calibrateFans(); // as the confirmed dialog does
    EXPECT_EQ(buttonNamed(view, "Calibrate fans"), nullptr);
    EXPECT_TRUE(showsLabel(view, "Calibrating fan 1 of 2 (pwmfan@/p#fan1): 40 %"));
    store->setLanguage(AppLanguage::japanese);
    EXPECT_TRUE(showsLabel(view, "ファンを較正中 1/2（pwmfan@/p#fan1）: 40 %"));

    fixture.helper->calibration = HelperCalibrationStatus{0, "failed: stalled"};
    QPushButton* cancel = buttonNamed(view, EditorStyle::qtext(*store, L10nKey::cancel));
    ASSERT_NE(cancel, nullptr);
    cancel->click();
    EXPECT_EQ(fixture.count("cancelCalibration"), 1);
    EXPECT_TRUE(showsLabel(view, "前回の較正: 失敗: stalled"));
    EXPECT_EQ(buttonNamed(view, EditorStyle::qtext(*store, L10nKey::calibrateFans)), nullptr);
}

} // namespace
} // namespace windlark
