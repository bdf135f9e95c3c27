#include "platform/posix/CurlHttpLoader.h"

#include <curl/curl.h>
#include <memory>
#include <mutex>
#include <utility>

namespace windlark {
namespace {

struct Download {
    std::string data;
    std::size_t maximumBytes = 0;
    bool isTooLarge = false;
};

std::size_t appendChunk(char* chunk, std::size_t size, std::size_t count, void* context) {
    auto* download = static_cast<Download*>(context);
    const std::size_t length = size * count;
    if (length > download->maximumBytes - download->data.size()) {
        download->isTooLarge = true;
        return 0; // makes curl stop with a write error
    }
    download->data.append(chunk, length);
    return length;
}

struct EasyHandleDeleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
};

} // namespace

CurlHttpLoader::CurlHttpLoader()
    : CurlHttpLoader(Options{}) {}

CurlHttpLoader::CurlHttpLoader(Options options)
    : options_(std::move(options)) {
    // Global set-up is not thread-safe in older libcurl versions; doing it here, while
    // the loader is built on the main thread, keeps the worker threads out of it.
    static std::once_flag once;
    std::call_once(once, [] { curl_global_init(CURL_GLOBAL_DEFAULT); });
}

HttpLoadResult CurlHttpLoader::load(const std::string& url) {
    const std::unique_ptr<CURL, EasyHandleDeleter> handle(curl_easy_init());
    if (!handle) {
        return HttpLoadResult::failure("The network library could not start a request.");
    }
    CURL* curl = handle.get();
    Download download;
    download.maximumBytes = options_.maximumBytes;
    char errorBuffer[CURL_ERROR_SIZE] = {};

    CURLcode setup = CURLE_OK;
    auto set = [&setup](CURLcode code) {
        if (setup == CURLE_OK) {
            setup = code;
        }
    };
    set(curl_easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer));
    set(curl_easy_setopt(curl, CURLOPT_URL, url.c_str()));
    set(curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L));
    // Worker threads must not receive signals for DNS time-outs.
    set(curl_easy_setopt(curl, CURLOPT_NOSIGNAL, 1L));
    set(curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 1L));
    set(curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 2L));
    set(curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L));
    set(curl_easy_setopt(curl, CURLOPT_MAXREDIRS, 10L));
#if LIBCURL_VERSION_NUM >= 0x075500
    set(curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "https"));
    set(curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "https"));
#else
    set(curl_easy_setopt(curl, CURLOPT_PROTOCOLS, static_cast<long>(CURLPROTO_HTTPS)));
    set(curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS, static_cast<long>(CURLPROTO_HTTPS)));
#endif
    set(curl_easy_setopt(curl, CURLOPT_CONNECTTIMEOUT_MS,
                         static_cast<long>(options_.connectTimeout.count())));
    set(curl_easy_setopt(curl, CURLOPT_TIMEOUT_MS,
                         static_cast<long>(options_.totalTimeout.count())));
    set(curl_easy_setopt(curl, CURLOPT_MAXFILESIZE_LARGE,
                         static_cast<curl_off_t>(options_.maximumBytes)));
    // Every encoding this libcurl can decode, as a browser would accept.
    set(curl_easy_setopt(curl, CURLOPT_ACCEPT_ENCODING, ""));
    set(curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &appendChunk));
    set(curl_easy_setopt(curl, CURLOPT_WRITEDATA, &download));
    if (!options_.certificateAuthorityFile.empty()) {
        set(curl_easy_setopt(curl, CURLOPT_CAINFO, options_.certificateAuthorityFile.c_str()));
    }
    if (setup != CURLE_OK) {
        return HttpLoadResult::failure(curl_easy_strerror(setup));
    }

    const CURLcode result = curl_easy_perform(curl);
    if (download.isTooLarge || result == CURLE_FILESIZE_EXCEEDED) {
        return HttpLoadResult::failure("The response is larger than " +
                                       std::to_string(options_.maximumBytes) + " bytes.");
    }
    if (result != CURLE_OK) {
        // The buffer holds the detailed text ("Failed to connect to ... : Connection
        // refused"); the generic text is the fallback.
        std::string description = errorBuffer[0] != '\0' ? errorBuffer : curl_easy_strerror(result);
        while (!description.empty() && description.back() == '\n') {
            description.pop_back();
        }
        return HttpLoadResult::failure(std::move(description));
    }
    return HttpLoadResult::success(std::move(download.data));
}

} // namespace windlark
