// The stored profile must survive the process dying at any instant of a save: a kill
// from the system, a crash, a power cut of the application. Here a child process saves
// two profiles in turn through the real file-backed store and is killed with SIGKILL at
// a random moment, many times over; every time, what is stored must load as one of the
// two profiles, never as a torn mixture or as nothing.

#include "curve/WindlarkPreferences.h"
#include "curve/WindlarkProfile.h"
#include "fakes/ScratchDirectory.h"
#include "platform/posix/FileDefaultsStore.h"
#include "text/AppLanguage.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace windlark {
namespace {

class NoPreferredLanguages final : public PreferredLanguagesSource {
public:
    [[nodiscard]] std::vector<std::string> preferredLanguages() const override { return {}; }
};

WindlarkPreferences preferencesAt(const std::filesystem::path& file) {
    return WindlarkPreferences(std::make_shared<FileDefaultsStore>(file),
                               std::make_shared<NoPreferredLanguages>());
}

// Two profiles that differ in every field a torn write could mix up; the second has
// more points, so its stored text is longer than the first's.
WindlarkProfile oldProfile() {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.name = "Old";
    return profile;
}

WindlarkProfile newProfile() {
    WindlarkProfile profile = WindlarkProfile::balanced();
    profile.name = "New, after the user's edits";
    profile.updateTemperatureAxis(25.0, 105.0);
    profile.updateRPMAxis(1000.0, 7000.0);
    profile.updateFanOffThresholdEnabled(true);
    profile.updateFanOffThreshold(41.0);
    profile.addPoint();
    profile.addPoint();
    return profile;
}

// Temporary files of saves that were cut short (the store writes beside the file).
int countLeftovers(const std::filesystem::path& directory, const std::filesystem::path& file) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(directory)) {
        if (entry.path() != file) {
            ++count;
            std::filesystem::remove(entry.path());
        }
    }
    return count;
}

// Runs in the forked child: tells the parent it is about to save, then saves the two
// profiles alternately until it is killed.
[[noreturn]] void saveForever(const std::filesystem::path& file, int readyPipe,
                              const WindlarkProfile& older, const WindlarkProfile& newer) {
    WindlarkPreferences preferences = preferencesAt(file);
    const WindlarkProfile* profiles[] = {&newer, &older};
    const char ready = 'r';
    (void)::write(readyPipe, &ready, 1);
    for (std::uint64_t round = 0;; ++round) {
        preferences.saveProfile(*profiles[round % 2]);
        preferences.saveLanguage(round % 2 == 0 ? AppLanguage::korean : AppLanguage::spanish);
    }
}

TEST(DefaultsCrash, AKilledSaveLeavesTheOldOrTheNewProfile) {
    constexpr int kKills = 240;
    const ScratchDirectory scratch;
    ASSERT_FALSE(scratch.path().empty());
    const std::filesystem::path directory = scratch.path() / "windlark-mac";
    const std::filesystem::path file = directory / "defaults.json";

    // Built once: every profile gets fresh point identifiers. The expected values are
    // what each profile looks like after a round trip through the store.
    const WindlarkProfile older = oldProfile();
    const WindlarkProfile newer = newProfile();
    const std::optional<WindlarkProfile> expectedOld =
        WindlarkPreferences::decodeProfile(*WindlarkPreferences::encodeProfile(older));
    const std::optional<WindlarkProfile> expectedNew =
        WindlarkPreferences::decodeProfile(*WindlarkPreferences::encodeProfile(newer));
    ASSERT_TRUE(expectedOld && expectedNew);
    ASSERT_NE(*expectedOld, *expectedNew);

    {
        WindlarkPreferences preferences = preferencesAt(file);
        preferences.saveProfile(older);
    }

    // Kills must land anywhere within the first few saves, however fast or busy this
    // machine is, so the window is measured rather than fixed: one round of the child's
    // loop is timed here, and each kill comes at a random moment within two rounds.
    const auto roundStart = std::chrono::steady_clock::now();
    {
        WindlarkPreferences preferences = preferencesAt(file);
        preferences.saveProfile(newer);
        preferences.saveLanguage(AppLanguage::korean);
        preferences.saveProfile(older);
        preferences.saveLanguage(AppLanguage::spanish);
    }
    const auto roundMicroseconds = std::chrono::duration_cast<std::chrono::microseconds>(
                                       std::chrono::steady_clock::now() - roundStart)
                                       .count();
    std::mt19937 random(20261121u);
    std::uniform_int_distribution<long long> delayMicroseconds(
        0, std::max<long long>(2 * roundMicroseconds, 200));
    int killsDuringSave = 0;
    int oldLoads = 0;
    int newLoads = 0;

    for (int kill = 0; kill < kKills; ++kill) {
        int readyPipe[2];
        ASSERT_EQ(::pipe(readyPipe), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0) << "fork failed: errno " << errno;
        if (child == 0) {
            ::close(readyPipe[0]);
            saveForever(file, readyPipe[1], older, newer);
        }
        ::close(readyPipe[1]);
        char ready = 0;
        ASSERT_EQ(::read(readyPipe[0], &ready, 1), 1);
        ::close(readyPipe[0]);

        ::usleep(static_cast<useconds_t>(delayMicroseconds(random)));
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(::waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL)
            << "the saving child ended on its own (status " << status << ")";

        killsDuringSave += countLeftovers(directory, file) > 0 ? 1 : 0;
        const std::optional<WindlarkProfile> loaded = preferencesAt(file).loadProfile();
        ASSERT_TRUE(loaded.has_value()) << "no readable profile after kill " << kill;
        if (*loaded == *expectedOld) {
            ++oldLoads;
        } else if (*loaded == *expectedNew) {
            ++newLoads;
        } else {
            FAIL() << "kill " << kill << " left a profile that is neither: " << loaded->name;
        }
    }

    // Evidence that the kills really hit saves in progress and both outcomes occurred;
    // otherwise the test would prove nothing about torn writes.
    EXPECT_GT(killsDuringSave, 0);
    EXPECT_GT(oldLoads, 0);
    EXPECT_GT(newLoads, 0);
    RecordProperty("killsDuringSave", killsDuringSave);
}

} // namespace
} // namespace windlark
