#include "shell/AppUpdateChecker.h"

#include "fakes/FakeApplicationBundleInfo.h"
#include "fakes/FakeHttpLoader.h"
#include "fakes/ManualMainLoop.h"
#include "shell/AppVersion.h"
#include "shell/HttpsAddress.h"

#include <future>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace windlark {
namespace {

using Status = AppUpdateCheckResult::Status;

constexpr const char* kValid = "https://updates.example.com/windlark.json";

TEST(AppUpdateChecker, AddressComesFromEnvironmentFirstEvenWhenUnusable) {
    using Text = std::optional<std::string>;
    // The variable, the bundle's entry, the address used.
    const std::tuple<Text, Text, Text> cases[] = {
        {std::nullopt, std::nullopt, std::nullopt},
        {std::nullopt, kValid, kValid},
        {kValid, "https://other.example.com/u.json", kValid},
        {"  https://a.example.com/u.json\n", std::nullopt, "https://a.example.com/u.json"},
        // A set variable is final, whatever it holds.
        {"", kValid, std::nullopt},
        {"http://updates.example.com/windlark.json", kValid, std::nullopt},
        {std::nullopt, "http://updates.example.com/windlark.json", std::nullopt},
        {std::nullopt,
         "\xC2\xA0"
         "https://c.example.com/\xE3\x80\x80",
         "https://c.example.com/"},
    };
    for (const auto& [variable, entry, expected] : cases) {
        ProcessEnvironment environment{{"HOME", "/Users/someone"}};
        FakeApplicationBundleInfo bundle;
        if (variable) {
            environment.emplace(std::string(AppUpdateChecker::kEnvironmentKey), *variable);
        }
        if (entry) {
            bundle.entries_.emplace(std::string(AppUpdateChecker::kBundleKey), *entry);
        }
        EXPECT_EQ(AppUpdateChecker::updateURL(bundle, environment), expected)
            << variable.value_or("<unset>") << " / " << entry.value_or("<unset>");
    }
}

TEST(AppUpdateChecker, HttpsRuleAcceptsOnlySecureAddressesWithAHost) {
    for (const char* text : {"https://example.com", "HTTPS://Example.COM/Path?q=1#top",
                             "https://user:pw@example.com/x", "https://[::1]:443/x",
                             "https://127.0.0.1:1/a%20b", "https://e.example/%2f%2F%aA%Af",
                             "https://z.example/Zz"}) { // the last letters of both cases
        EXPECT_EQ(acceptedHttpsAddress(text), text);
    }
    for (const char* text :
         {"https://e.example/%2", "https://[::1]x/", "https://a]b.example/", "http://example.com",
          "file:///Applications/Windlark%20Mac.app", "example.com/update.json", "https://",
          "https:example.com", "https://user@:443/x", "https://example.com:80x/",
          "https://exa mple.com/", "https://example.com/%zz", "https://example.com/#a#b",
          "https://[::1/", "", "httpss://example.com", "1https://example.com"}) {
        EXPECT_EQ(acceptedHttpsAddress(text), std::nullopt) << text;
    }
}

TEST(AppUpdateChecker, CurrentVersionPrefersShortVersionThenBuildThenDevelopment) {
    using Entries = std::map<std::string, std::string, std::less<>>;
    const std::vector<std::pair<Entries, std::string>> cases = {
        {{{"CFBundleShortVersionString", "1.4"}, {"CFBundleVersion", "77"}}, "1.4"},
        {{{"CFBundleShortVersionString", ""}, {"CFBundleVersion", "77"}}, "77"},
        {{{"CFBundleVersion", ""}}, "development"},
        // The running version is kept as written; only published versions are cleaned.
        {{{"CFBundleShortVersionString", " v2.0 "}}, " v2.0 "},
    };
    for (const auto& [entries, expected] : cases) {
        EXPECT_EQ(AppUpdateChecker::currentVersion(FakeApplicationBundleInfo(entries)), expected);
    }
}

TEST(AppUpdateCheckResult, StatusRawValuesAreTheReportedTokens) {
    std::string tokens;
    for (const Status status : allCases<Status>) {
        tokens.append(rawValue(status)).append(" ");
    }
    EXPECT_EQ(tokens, "updateAvailable upToDate unavailable failed ");
}

TEST(AppVersion, CleansAndComparesByNumericComponents) {
    EXPECT_EQ(AppVersion::cleaned("  v1.2\n"), "1.2");
    EXPECT_EQ(AppVersion::cleaned("vVv1.2vv"), "1.2");
    EXPECT_EQ(AppVersion::cleaned("vvv"), "");
    EXPECT_EQ(AppVersion::cleaned(" v 1.2"), " 1.2");

    using std::strong_ordering;
    const std::tuple<const char*, const char*, strong_ordering> cases[] = {
        {"1.2", "1.2.0", strong_ordering::equal},
        {"1.10", "1.9", strong_ordering::greater},
        {"2.0-beta3", "2.0", strong_ordering::greater},
        {"development", "0.0.1", strong_ordering::less},
        {"v1.4.0", "1.4", strong_ordering::equal},
        {"1.01", "1.1", strong_ordering::equal},
        {"0.9", "1", strong_ordering::less},
        // A component too large for 64 bits is dropped, not wrapped or saturated.
        {"1.99999999999999999999.2", "1.2", strong_ordering::equal},
        {"9223372036854775807", "9223372036854775806", strong_ordering::greater},
        {"1.2.3.4.5.6.7.8.9.10", "1.2.3.4.5.6.7.8.9.9", strong_ordering::greater},
        {"1..2", "1.2", strong_ordering::equal},
    };
    for (const auto& [left, right, expected] : cases) {
        EXPECT_EQ(AppVersion::compare(left, right), expected) << left << " vs " << right;
        EXPECT_EQ(AppVersion::compare(right, left), 0 <=> expected) << right << " vs " << left;
    }
}

TEST(AppUpdateChecker, EveryDocumentShapeEndsInAResult) {
    const std::string notObject = "The update response was not a JSON object.";
    const std::string noVersion = "The update response did not include a version.";
    const std::pair<std::string, AppUpdateCheckResult> cases[] = {
        {R"({"version":"1.2.1"})", {Status::updateAvailable, "1.2", "1.2.1", {}, {}}},
        {R"({"version":"1.2.0"})", {Status::upToDate, "1.2", "1.2.0", {}, {}}},
        {R"({"version":" v1.3 ","latestVersion":"9"})",
         {Status::updateAvailable, "1.2", "1.3", {}, {}}},
        {R"({"version":3,"latestVersion":"1.2"})", {Status::upToDate, "1.2", "1.2", {}, {}}},
        {R"({"version":null,"latestVersion":[1],"tag_name":"v1.4.0","html_url":"http://x.example/r"})",
         {Status::updateAvailable, "1.2", "1.4.0", {}, {}}},
        {R"({"tag_name":"v2","html_url":5,"release_url":"https://x.example/r","url":"https://y.example/"})",
         {Status::updateAvailable, "1.2", "2", "https://x.example/r", {}}},
        // The first release page given decides; an unacceptable one is not replaced.
        {R"({"tag_name":"2","html_url":"ftp://x.example/r","url":"https://y.example/"})",
         {Status::updateAvailable, "1.2", "2", {}, {}}},
        {R"({"version":"","url":"https://y.example/"})",
         {Status::upToDate, "1.2", "", "https://y.example/", {}}},
        {R"({"version":1.3,"latestVersion":true,"tag_name":{}})",
         {Status::failed, "1.2", {}, {}, noVersion}},
        {R"([{"version":"9.9"}])", {Status::failed, "1.2", {}, {}, notObject}},
    };
    for (const auto& [document, expected] : cases) {
        EXPECT_EQ(AppUpdateChecker::resultForDocument("1.2", document), expected) << document;
    }
    // Anything else that is no object, or no JSON at all, says so in its own words.
    for (const std::string& document :
         {std::string(R"("1.3")"), std::string(), std::string("{\"version\":\"1.\xFF\"}"),
          std::string("{\"version\":\"1.3\"}\0 ", 19)}) {
        const AppUpdateCheckResult result = AppUpdateChecker::resultForDocument("1.2", document);
        EXPECT_EQ(result.status, Status::failed) << document;
        EXPECT_EQ(result.latestVersion, std::nullopt) << document;
        ASSERT_TRUE(result.detail.has_value()) << document;
        EXPECT_NE(*result.detail, notObject);
        EXPECT_NE(*result.detail, noVersion);
        EXPECT_FALSE(result.detail->empty());
    }
}

TEST(AppUpdateChecker, HugeAndDeepDocumentsEndInAResult) {
    std::string big =
        R"({"padding":")" + std::string(8 * 1024 * 1024, 'x') + R"(","version":"3.0"})";
    EXPECT_EQ(AppUpdateChecker::resultForDocument("1.2", big).status, Status::updateAvailable);

    const std::size_t depth = 200000;
    const std::string deep = std::string(depth, '[') + std::string(depth, ']');
    EXPECT_EQ(AppUpdateChecker::resultForDocument("1.2", deep).detail,
              "The update response was not a JSON object.");
    const std::string unclosed = "{\"a\":" + std::string(depth, '[');
    EXPECT_EQ(AppUpdateChecker::resultForDocument("1.2", unclosed).status, Status::failed);
}

class AppUpdateCheckerAsyncTest : public ::testing::Test {
protected:
    std::unique_ptr<AppUpdateChecker> makeChecker(std::optional<std::string> address) {
        ProcessEnvironment environment;
        if (address) {
            environment.emplace(std::string(AppUpdateChecker::kEnvironmentKey), *address);
        }
        return std::make_unique<AppUpdateChecker>(bundle, environment, loader, loop);
    }

    FakeApplicationBundleInfo bundle{{{"CFBundleShortVersionString", "1.2"}}};
    std::shared_ptr<FakeHttpLoader> loader = std::make_shared<FakeHttpLoader>();
    ManualMainLoop loop;
};

TEST_F(AppUpdateCheckerAsyncTest, EveryResultArrivesOnTheMainLoop) {
    std::optional<AppUpdateCheckResult> received;
    const auto receive = [&](AppUpdateCheckResult result) { received = std::move(result); };
    const auto unconfigured = makeChecker(std::nullopt);
    unconfigured->checkForUpdates(receive);
    EXPECT_FALSE(received.has_value());
    loop.runPending();
    EXPECT_EQ(received,
              (AppUpdateCheckResult{
                  Status::unavailable, "1.2", {}, {}, "No update check URL is configured."}));
    EXPECT_TRUE(loader->requestedURLs().empty());

    received.reset();
    loader->setAnswer(HttpLoadResult::success(R"({"version":"1.3","html_url":"https://e.x/r"})"));
    auto checker = makeChecker(kValid);
    checker->checkForUpdates(receive);
    ASSERT_TRUE(loop.waitForPost(2));
    EXPECT_FALSE(received.has_value());
    loop.runPending();
    EXPECT_EQ(received,
              (AppUpdateCheckResult{Status::updateAvailable, "1.2", "1.3", "https://e.x/r", {}}));
    EXPECT_EQ(loader->requestedURLs(), std::vector<std::string>{kValid});

    loader->setAnswer(HttpLoadResult::failure("Could not resolve host: updates.example.com"));
    received.reset();
    checker->checkForUpdates(receive);
    ASSERT_TRUE(loop.waitForPost(3));
    loop.runPending();
    EXPECT_EQ(received, (AppUpdateCheckResult{Status::failed, "1.2", std::nullopt, std::nullopt,
                                              "Could not resolve host: updates.example.com"}));
}

TEST_F(AppUpdateCheckerAsyncTest, TheCompletionIsReleasedOnTheMainThread) {
    // A completion usually holds interface objects, which may only be released on the
    // main thread: the last reference to what it captured must go there.
    std::promise<std::thread::id> releasedOn;
    std::shared_ptr<int> captured(new int(0), [&releasedOn](const int* value) {
        releasedOn.set_value(std::this_thread::get_id());
        delete value;
    });
    auto checker = makeChecker(kValid);
    bool isCalled = false;
    checker->checkForUpdates(
        [captured, &isCalled](const AppUpdateCheckResult&) { isCalled = *captured == 0; });
    std::future<std::thread::id> released = releasedOn.get_future();
    captured.reset();
    ASSERT_TRUE(loop.waitForPost());
    loop.runPending();
    EXPECT_TRUE(isCalled);
    ASSERT_EQ(released.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    EXPECT_EQ(released.get(), std::this_thread::get_id());
}

TEST_F(AppUpdateCheckerAsyncTest, DestroyingTheCheckerDropsItsResult) {
    // Destroyed after the result was posted: it is not delivered.
    bool isCalled = false;
    auto checker = makeChecker(kValid);
    checker->checkForUpdates([&](const AppUpdateCheckResult&) { isCalled = true; });
    ASSERT_TRUE(loop.waitForPost());
    checker.reset();
    loop.runPending();
    EXPECT_FALSE(isCalled);

    // Destroyed while the loader is still at work: nothing is posted that would deliver it.
    loader->holdRequests();
    checker = makeChecker(kValid);
    checker->checkForUpdates([&](const AppUpdateCheckResult&) { isCalled = true; });
    ASSERT_TRUE(loader->waitUntilEntered(2));
    checker.reset();
    loader->releaseRequests();
    ASSERT_TRUE(loader->waitUntilReturned(2));
    // The worker may still be between the loader and its last step; give it the chance
    // to (wrongly) post before checking.
    loop.waitForPost(2, std::chrono::milliseconds(200));
    loop.runPending();
    EXPECT_FALSE(isCalled);
}

} // namespace
} // namespace windlark
