// The stored profile must survive the process dying at any instant of a save. A child
// process saves two profiles in turn through the real file-backed store and is killed
// with SIGKILL at a random moment, many times over; every time, what is stored must load
// as one of the two profiles, never as a torn mixture or as nothing.

#include "curve/WindlarkPreferences.h"
#include "fakes/ScratchDirectory.h"
#include "platform/posix/FileDefaultsStore.h"

#include <chrono>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <random>
#include <sys/wait.h>
#include <unistd.h>

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

TEST(DefaultsCrash, AKilledSaveLeavesTheOldOrTheNewProfile) {
    const ScratchDirectory scratch;
    const std::filesystem::path file = scratch.path() / "defaults.json";
    // The newer profile has more points, so its stored text is longer than the older one's.
    WindlarkProfile older = WindlarkProfile::balanced();
    older.name = "Old";
    WindlarkProfile newer = WindlarkProfile::balanced();
    newer.name = "New, after the user's edits";
    newer.updateRPMAxis(1000.0, 7000.0);
    newer.addPoint();
    newer.addPoint();

    // Kills must land within the first few saves however fast this machine is, so the
    // window is measured: each kill comes at a random moment within two saves.
    const auto saveStart = std::chrono::steady_clock::now();
    preferencesAt(file).saveProfile(newer);
    preferencesAt(file).saveProfile(older);
    const auto saveMicroseconds = std::chrono::duration_cast<std::chrono::microseconds>(
                                      std::chrono::steady_clock::now() - saveStart)
                                      .count();
    std::mt19937 random(20261121U);
    std::uniform_int_distribution<long long> delay(0, std::max<long long>(saveMicroseconds, 200));

    // What each profile looks like after a round trip through the store.
    std::optional<WindlarkProfile> expected[2];
    for (int index : {0, 1}) {
        expected[index] = WindlarkPreferences::decodeProfile(
            *WindlarkPreferences::encodeProfile(index == 0 ? older : newer));
    }
    int killsDuringSave = 0;
    int loads[2] = {0, 0};
    for (int kill = 0; kill < 240; ++kill) {
        int ready[2];
        ASSERT_EQ(::pipe(ready), 0);
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            WindlarkPreferences preferences = preferencesAt(file);
            (void)::write(ready[1], "r", 1);
            for (unsigned round = 0;; ++round) {
                preferences.saveProfile(round % 2 == 0 ? newer : older);
            }
        }
        char byte = 0;
        ASSERT_EQ(::read(ready[0], &byte, 1), 1);
        ::close(ready[0]);
        ::close(ready[1]);
        ::usleep(static_cast<useconds_t>(delay(random)));
        ASSERT_EQ(::kill(child, SIGKILL), 0);
        ASSERT_EQ(::waitpid(child, nullptr, 0), child);

        // A temporary file beside the stored one shows the kill cut a save short.
        for (const auto& entry : std::filesystem::directory_iterator(scratch.path())) {
            if (entry.path() != file) {
                ++killsDuringSave;
                std::filesystem::remove(entry.path());
            }
        }
        const std::optional<WindlarkProfile> loaded = preferencesAt(file).loadProfile();
        ASSERT_TRUE(loaded.has_value()) << "no readable profile after kill " << kill;
        ASSERT_TRUE(loaded == expected[0] || loaded == expected[1]) << loaded->name;
        ++loads[loaded == expected[0] ? 0 : 1];
    }
    // Otherwise the test would prove nothing about torn writes.
    EXPECT_GT(killsDuringSave, 0);
    EXPECT_GT(loads[0], 0);
    EXPECT_GT(loads[1], 0);
}

} // namespace
} // namespace windlark
