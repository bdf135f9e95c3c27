#pragma once

#include "shell/HttpLoader.h"

#include <chrono>
#include <cstddef>
#include <string>

namespace windlark {

// A plain GET through libcurl, with TLS verification on, redirects followed only to
// HTTPS, and limits so that a dead or hostile server cannot hold a check forever or fill
// memory. Whatever bytes come back are returned, whatever the HTTP status: the caller's
// parser decides what they are worth.
class CurlHttpLoader final : public HttpLoader {
public:
    struct Options {
        std::chrono::milliseconds connectTimeout = std::chrono::seconds(10);
        std::chrono::milliseconds totalTimeout = std::chrono::seconds(30);
        std::size_t maximumBytes = 4 * 1024 * 1024;
        // A file of trusted certificates used instead of the system's store; empty for
        // the system's store.
        std::string certificateAuthorityFile;
    };

    CurlHttpLoader();
    explicit CurlHttpLoader(Options options);

    [[nodiscard]] HttpLoadResult load(const std::string& url) override;

private:
    Options options_;
};

} // namespace windlark
