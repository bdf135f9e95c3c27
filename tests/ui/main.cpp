#include <QApplication>
#include <cstdlib>
#include <gtest/gtest.h>

namespace {

// The offscreen platform says on every shown window that it cannot raise it; that says
// nothing about the program, and hid the messages that do.
void quietOffscreen(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg && message.startsWith(QLatin1String("This plugin does not support"))) {
        return;
    }
    qt_message_output(type, context, message);
}

} // namespace

int main(int argc, char** argv) {
    // No display is needed: test discovery and the tests alike run offscreen.
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    qInstallMessageHandler(quietOffscreen);
    QApplication::setStyle(QStringLiteral("Fusion"));
    QApplication application(argc, argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
