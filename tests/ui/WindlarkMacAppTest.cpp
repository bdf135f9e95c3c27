#include "ui/WindlarkMacApp.h"

#include "fakes/StoreRig.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <gtest/gtest.h>

namespace windlark {
namespace {

struct AppFixture : StoreRig {
    AppFixture()
        : StoreRig(StoreRig::oneFanMac()) {}

    std::vector<int> exits;
    std::vector<std::string> helperCallsAtExit;

    [[nodiscard]] WindlarkMacAppServices appServices() {
        WindlarkMacAppServices services;
        services.store = StoreRig::services(false);
        services.preferences = preferences;
        services.exit = [this](int status) {
            exits.push_back(status);
            helperCallsAtExit = helper->calls;
        };
        services.presentation = StatusBarController::Presentation{};
        return services;
    }
};

// A launch that must move itself first shows only the offer to move, once start-up is done.
TEST(WindlarkMacApp, StartsWithTheSavedCurveOrFitsTheBuiltInOneAndActivatesOnceUnlessItMoves) {
    WindlarkProfile saved = WindlarkProfile::balanced();
    saved.rpmAxis.minimum = 1200.0;
    saved.rpmAxis.maximum = 3000.0;
    for (const auto& [hasSavedProfile, mustMove] :
         {std::pair(false, false), std::pair(true, false), std::pair(false, true)}) {
        SCOPED_TRACE(testing::Message() << hasSavedProfile << mustMove);
        AppFixture fixture;
        if (hasSavedProfile) {
            fixture.defaults->setDataText(rawValue(WindlarkPreferences::Key::profile),
                                          *WindlarkPreferences::encodeProfile(saved));
        }
        WindlarkMacAppServices services = fixture.appServices();
        WindlarkMacApp* started = nullptr;
        bool decidedBeforeTheStore = false;
        int offers = 0;
        services.shouldHandleInstallLocation = [&, moves = mustMove] {
            decidedBeforeTheStore = started->store() == nullptr;
            return moves;
        };
        services.handleInstallLocation = [&] { ++offers; };
        WindlarkMacApp app(std::move(services));
        started = &app;
        app.start();
        EXPECT_TRUE(decidedBeforeTheStore);
        ASSERT_NE(app.store(), nullptr);
        const auto& axis = app.store()->profile().rpmAxis;
        EXPECT_EQ(axis.minimum, hasSavedProfile ? 1200.0 : 1000.0);
        EXPECT_EQ(axis.maximum, hasSavedProfile ? 3000.0 : 4900.0);
        EXPECT_EQ(offers, 0); // queued, not run inside start-up

        StatusBarController* controller = app.statusBarController();
        EXPECT_EQ(controller == nullptr, mustMove);
        app.activateStatusBarController();
        QCoreApplication::processEvents(); // the queued activation and offer
        EXPECT_EQ(app.statusBarController(), controller);
        EXPECT_EQ(offers, mustMove ? 1 : 0);
    }
}

TEST(WindlarkMacApp, QuittingHandsTheFanBackOnceAndOnlyWhenThereIsAStore) {
    AppFixture fixture;
    fixture.helper->health = StoreRig::healthyHelper();
    {
        WindlarkMacApp early(fixture.appServices());
        early.quit();
        EXPECT_EQ(fixture.exits, std::vector<int>{0});
        EXPECT_TRUE(fixture.helper->calls.empty());
    }
    fixture.exits.clear();

    WindlarkMacApp app(fixture.appServices());
    app.start();
    app.store()->setCurveEnabled(true);
    fixture.helper->calls.clear();
    ASSERT_EQ(std::raise(SIGTERM), 0);
    QTRY_COMPARE_WITH_TIMEOUT(fixture.exits.size(), std::size_t{1}, 5000);
    EXPECT_EQ(fixture.exits.front(), 0);
    // The reset went out before the event loop was told to end.
    EXPECT_EQ(fixture.helperCallsAtExit, std::vector<std::string>{"reset"});
    app.resetFanControlBeforeAppTermination(); // the loop's own aboutToQuit
    EXPECT_EQ(fixture.helper->calls, std::vector<std::string>{"reset"});

    // A quit that starts elsewhere (the session ending) resets on the way out as well.
    WindlarkMacApp ending(fixture.appServices());
    ending.start();
    fixture.helper->calls.clear();
    ASSERT_TRUE(QMetaObject::invokeMethod(QCoreApplication::instance(), "aboutToQuit"));
    EXPECT_EQ(fixture.helper->calls, std::vector<std::string>{"reset"});
}

// The real program, started the way a user or a service manager starts it.
class WindlarkMacProcess : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home_.isValid() && runtime_.isValid());
        environment_ = QProcessEnvironment::systemEnvironment();
        environment_.insert("QT_QPA_PLATFORM", "offscreen");
        environment_.insert("HOME", home_.path());
        environment_.insert("XDG_CONFIG_HOME", home_.filePath("config"));
        environment_.insert("XDG_RUNTIME_DIR", runtime_.path());
        environment_.remove("WINDLARK_SIMULATED_MACHINE");
    }

    std::unique_ptr<QProcess> start(const QString& machineFile = kOneFanMac) {
        auto process = std::make_unique<QProcess>();
        process->setProcessEnvironment(environment_);
        process->start(QStringLiteral(WINDLARK_APP_EXECUTABLE),
                       {QStringLiteral("--simulated-machine"), machineFile});
        EXPECT_TRUE(process->waitForStarted(5000));
        return process;
    }
    static void expectExit(QProcess& process, bool isSuccess) {
        ASSERT_TRUE(process.waitForFinished(10000));
        EXPECT_EQ(process.exitStatus(), QProcess::NormalExit);
        EXPECT_EQ(process.exitCode() == 0, isSuccess);
    }

    static inline const QString kOneFanMac = "examples/machines/mac-mini-one-fan.json";
    QTemporaryDir home_;
    QTemporaryDir runtime_;
    QProcessEnvironment environment_;
};

TEST_F(WindlarkMacProcess, ASecondStartLeavesTheFirstRunningAndATerminationEndsItCleanly) {
    auto first = start();
    // The first is ready once it listens for later starts.
    QTRY_VERIFY_WITH_TIMEOUT(
        !QDir(runtime_.path())
             .entryList({QStringLiteral("windlark-mac-*.socket")}, QDir::System)
             .isEmpty(),
        10000);
    expectExit(*start(), true);
    EXPECT_EQ(first->state(), QProcess::Running);
    ::kill(static_cast<pid_t>(first->processId()), SIGTERM);
    expectExit(*first, true);
}

TEST_F(WindlarkMacProcess, RefusesToStartHalfWay) {
    QFile malformed(home_.filePath("broken.json"));
    ASSERT_TRUE(malformed.open(QIODevice::WriteOnly));
    malformed.write("{\"model\": ");
    malformed.close();
    // A missing and a malformed machine file are named; without a display it says so.
    const std::tuple<QString, bool, QString> cases[] = {
        {home_.filePath("nowhere.json"), true, home_.filePath("nowhere.json")},
        {malformed.fileName(), true, malformed.fileName()},
        {kOneFanMac, false, QStringLiteral("no display")},
    };
    for (const auto& [machineFile, hasDisplay, message] : cases) {
        SCOPED_TRACE(message.toStdString());
        if (!hasDisplay) {
            for (const char* name : {"QT_QPA_PLATFORM", "DISPLAY", "WAYLAND_DISPLAY"}) {
                environment_.remove(QLatin1String(name));
            }
        }
        auto process = start(machineFile);
        expectExit(*process, false);
        EXPECT_TRUE(QString::fromUtf8(process->readAllStandardError()).contains(message));
    }
}

} // namespace
} // namespace windlark
