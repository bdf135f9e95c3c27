#include "shell/AppUpdateChecker.h"

#include "shell/AppVersion.h"
#include "shell/HttpsAddress.h"
#include "shell/WhitespaceTrimming.h"

#include <array>
#include <exception>
#include <mutex>
#include <nlohmann/json.hpp>
#include <thread>
#include <utility>

namespace windlark {
namespace {

constexpr std::string_view kNoAddressDetail = "No update check URL is configured.";
constexpr std::string_view kInvalidMetadataDetail = "The update response was not a JSON object.";
constexpr std::string_view kMissingVersionDetail = "The update response did not include a version.";
// nlohmann/json accepts a lone scalar as a whole document; this program does not, since
// a real update document is always an object, and says so in the parser's manner.
constexpr std::string_view kBareValueDetail =
    "JSON parse error: the text is a single bare value; a document must be an object or "
    "an array.";
constexpr std::string_view kNulByteDetail =
    "JSON parse error: the text contains a NUL byte, which JSON allows only escaped.";

constexpr std::array<std::string_view, 3> kVersionMembers = {"version", "latestVersion",
                                                             "tag_name"};
constexpr std::array<std::string_view, 3> kReleasePageMembers = {"html_url", "release_url", "url"};

AppUpdateCheckResult failedResult(const std::string& localVersion, std::string detail) {
    return {AppUpdateCheckResult::Status::failed, localVersion, std::nullopt, std::nullopt,
            std::move(detail)};
}

// The first of `members` that holds a string; members holding anything else count as absent.
const std::string* firstString(const nlohmann::json& object,
                               const std::array<std::string_view, 3>& members) {
    for (std::string_view member : members) {
        const auto found = object.find(member);
        if (found != object.end() && found->is_string()) {
            return found->get_ptr<const std::string*>();
        }
    }
    return nullptr;
}

} // namespace

struct AppUpdateChecker::Configuration {
    std::string currentVersion;
    std::optional<std::string> updateURL;
    std::shared_ptr<HttpLoader> loader;
};

// What a running check shares with the checker that started it. The checker clears
// `mainLoop` when it goes, after which results are dropped instead of delivered.
struct AppUpdateChecker::Link {
    std::mutex mutex;
    MainLoop* mainLoop = nullptr;
};

AppUpdateChecker::AppUpdateChecker(const ApplicationBundleInfo& bundle,
                                   const ProcessEnvironment& environment,
                                   std::shared_ptr<HttpLoader> loader, MainLoop& mainLoop)
    : configuration_(std::make_shared<const Configuration>(
          Configuration{currentVersion(bundle), updateURL(bundle, environment), std::move(loader)}))
    , link_(std::make_shared<Link>()) {
    link_->mainLoop = &mainLoop;
}

AppUpdateChecker::~AppUpdateChecker() {
    const std::scoped_lock lock(link_->mutex);
    link_->mainLoop = nullptr;
}

const std::string& AppUpdateChecker::currentVersion() const {
    return configuration_->currentVersion;
}

const std::optional<std::string>& AppUpdateChecker::updateURL() const {
    return configuration_->updateURL;
}

std::string AppUpdateChecker::currentVersion(const ApplicationBundleInfo& bundle) {
    for (std::string_view key : {"CFBundleShortVersionString", "CFBundleVersion"}) {
        if (auto value = bundle.stringValue(key); value && !value->empty()) {
            return *value;
        }
    }
    return "development";
}

std::optional<std::string> AppUpdateChecker::updateURL(const ApplicationBundleInfo& bundle,
                                                       const ProcessEnvironment& environment) {
    std::optional<std::string> candidate = environmentValue(environment, kEnvironmentKey);
    if (!candidate) {
        candidate = bundle.stringValue(kBundleKey);
    }
    if (!candidate) {
        return std::nullopt;
    }
    const std::string_view trimmed = trimmingWhitespaceAndNewlines(*candidate);
    if (trimmed.empty()) {
        return std::nullopt;
    }
    return acceptedHttpsAddress(trimmed);
}

AppUpdateCheckResult AppUpdateChecker::resultForDocument(const std::string& localVersion,
                                                         std::string_view document) {
    // The parser reports malformed input by throwing; nothing of that leaves this function.
    // nlohmann/json stops reading at a NUL byte and ignores what follows, yet no JSON
    // text can hold one unescaped, so such a response is malformed.
    if (document.find('\0') != std::string_view::npos) {
        return failedResult(localVersion, std::string(kNulByteDetail));
    }
    try {
        const nlohmann::json root = nlohmann::json::parse(document);
        if (root.is_array()) {
            return failedResult(localVersion, std::string(kInvalidMetadataDetail));
        }
        if (!root.is_object()) {
            return failedResult(localVersion, std::string(kBareValueDetail));
        }
        const std::string* version = firstString(root, kVersionMembers);
        if (version == nullptr) {
            return failedResult(localVersion, std::string(kMissingVersionDetail));
        }
        std::optional<std::string> releaseURL;
        // Only the first release page given counts; an unacceptable one is not replaced
        // by a later member.
        if (const std::string* page = firstString(root, kReleasePageMembers)) {
            releaseURL = acceptedHttpsAddress(*page);
        }
        const std::string_view latest = AppVersion::cleaned(*version);
        const auto status = AppVersion::compare(latest, localVersion) > 0
                                ? AppUpdateCheckResult::Status::updateAvailable
                                : AppUpdateCheckResult::Status::upToDate;
        return {status, localVersion, std::string(latest), std::move(releaseURL), std::nullopt};
    } catch (const std::exception& error) {
        return failedResult(localVersion, error.what());
    }
}

AppUpdateCheckResult AppUpdateChecker::perform(const Configuration& configuration) {
    if (!configuration.updateURL) {
        return {AppUpdateCheckResult::Status::unavailable, configuration.currentVersion,
                std::nullopt, std::nullopt, std::string(kNoAddressDetail)};
    }
    HttpLoadResult loaded = configuration.loader->load(*configuration.updateURL);
    if (!loaded.isSuccess()) {
        return failedResult(configuration.currentVersion, std::move(*loaded.errorDescription));
    }
    return resultForDocument(configuration.currentVersion, loaded.data);
}

AppUpdateCheckResult AppUpdateChecker::checkNow() const {
    return perform(*configuration_);
}

void AppUpdateChecker::checkForUpdates(Completion completion) {
    // The completion is moved, never copied, all the way into the task posted to the main
    // loop: it usually holds interface objects, and the checking thread must not end up
    // releasing them.
    auto deliver = [](const std::shared_ptr<Link>& link, Completion onResult,
                      AppUpdateCheckResult result) {
        const std::scoped_lock lock(link->mutex);
        if (link->mainLoop == nullptr) {
            return;
        }
        link->mainLoop->post([link, onResult = std::move(onResult), result = std::move(result)] {
            // The checker may have gone between the post and now; its owner then no
            // longer expects an answer.
            {
                const std::scoped_lock innerLock(link->mutex);
                if (link->mainLoop == nullptr) {
                    return;
                }
            }
            onResult(result);
        });
    };

    if (!configuration_->updateURL) {
        deliver(link_, std::move(completion), checkNow());
        return;
    }
    // Shared with the thread so that it is still here should the thread fail to start.
    auto pending = std::make_shared<Completion>(std::move(completion));
    // The thread holds the configuration and the link, never `this`, so it may outlive
    // the checker.
    auto work = [configuration = configuration_, link = link_, deliver, pending] {
        deliver(link, std::exchange(*pending, nullptr), perform(*configuration));
    };
    try {
        std::thread(std::move(work)).detach();
    } catch (const std::exception& error) {
        deliver(link_, std::exchange(*pending, nullptr),
                failedResult(configuration_->currentVersion, error.what()));
    }
}

} // namespace windlark
