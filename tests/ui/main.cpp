#include <QApplication>
#include <cstdlib>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    // No display is needed: test discovery and the tests alike run offscreen.
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
