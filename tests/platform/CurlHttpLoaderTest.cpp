#include "platform/posix/CurlHttpLoader.h"

#include "fakes/ScratchDirectory.h"

#include <arpa/inet.h>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <memory>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>

namespace windlark {
namespace {

// A throw-away HTTPS server on 127.0.0.1 with a self-signed certificate, serving the
// files of a scratch folder. It stops by itself once this side closes the pipe, and after
// a minute at the latest. Needs python3 and the openssl tool; tests skip without them.
class LocalHttpsServer {
public:
    explicit LocalHttpsServer(const std::filesystem::path& root)
        : root_(root) {
        const std::string command =
            "cd '" + root.string() +
            "' && openssl req -x509 -newkey rsa:2048 -nodes -days 1 -subj /CN=127.0.0.1 "
            "-addext subjectAltName=IP:127.0.0.1 -keyout key.pem -out cert.pem >/dev/null 2>&1 "
            "&& exec python3 -c '" +
            R"(
import http.server, os, ssl, threading, time
class Quiet(http.server.SimpleHTTPRequestHandler):
    def log_message(self, *args): pass
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Quiet)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain("cert.pem", "key.pem")
server.socket = context.wrap_socket(server.socket, server_side=True)
threading.Thread(target=server.serve_forever, daemon=True).start()
try:
    print(server.server_address[1], flush=True)
    for _ in range(600):
        time.sleep(0.1)
        print(flush=True)
except BrokenPipeError:
    pass
os._exit(0)
)" + "'";
        output_ = ::popen(command.c_str(), "r");
        if (output_ != nullptr && std::fscanf(output_, "%d", &port_) != 1) {
            port_ = 0;
        }
    }
    ~LocalHttpsServer() {
        if (output_ != nullptr) {
            ::pclose(output_);
        }
    }
    LocalHttpsServer(const LocalHttpsServer&) = delete;
    LocalHttpsServer& operator=(const LocalHttpsServer&) = delete;

    [[nodiscard]] bool isRunning() const { return port_ > 0; }
    [[nodiscard]] std::string url(const std::string& path) const {
        return "https://127.0.0.1:" + std::to_string(port_) + "/" + path;
    }
    [[nodiscard]] std::string certificateFile() const { return (root_ / "cert.pem").string(); }

private:
    std::filesystem::path root_;
    FILE* output_ = nullptr;
    int port_ = 0;
};

class CurlHttpLoaderTest : public ::testing::Test {
protected:
    void SetUp() override {
        std::ofstream(scratch.path() / "update.json") << kDocument;
        std::ofstream(scratch.path() / "big.json") << std::string(300 * 1024, ' ') << "{}";
        server = std::make_unique<LocalHttpsServer>(scratch.path());
        if (!server->isRunning()) {
            GTEST_SKIP() << "python3 or openssl is not available for the local HTTPS server";
        }
    }

    [[nodiscard]] CurlHttpLoader::Options trustingServer() const {
        CurlHttpLoader::Options options;
        options.certificateAuthorityFile = server->certificateFile();
        options.totalTimeout = std::chrono::seconds(10);
        return options;
    }

    static constexpr const char* kDocument = R"({"tag_name":"v9.1.0"})";
    ScratchDirectory scratch;
    std::unique_ptr<LocalHttpsServer> server;
};

TEST_F(CurlHttpLoaderTest, FetchesOverVerifiedTlsAndRefusesUntrustedOrOversizedResponses) {
    CurlHttpLoader trusting(trustingServer());
    EXPECT_EQ(trusting.load(server->url("update.json")), HttpLoadResult::success(kDocument));
    // No status code is examined: a 404 page is what the server sent.
    const HttpLoadResult missing = trusting.load(server->url("missing.json"));
    EXPECT_TRUE(missing.isSuccess());
    EXPECT_NE(missing.data.find("404"), std::string::npos) << missing.data;
    EXPECT_TRUE(trusting.load(server->url("big.json")).isSuccess());

    CurlHttpLoader::Options untrusting; // the system's trust store does not know the server
    untrusting.totalTimeout = std::chrono::seconds(10);
    const HttpLoadResult result = CurlHttpLoader(untrusting).load(server->url("update.json"));
    ASSERT_FALSE(result.isSuccess());
    EXPECT_NE(result.errorDescription->find("certificate"), std::string::npos)
        << *result.errorDescription;

    CurlHttpLoader::Options capped = trustingServer();
    capped.maximumBytes = 64 * 1024;
    EXPECT_EQ(CurlHttpLoader(capped).load(server->url("big.json")),
              HttpLoadResult::failure("The response is larger than 65536 bytes."));
}

TEST(CurlHttpLoader, ASilentServerTimesOutAndAClosedPortFailsAtOnce) {
    // A socket that listens but never answers: the connection succeeds through the
    // backlog, then the TLS handshake waits for nothing.
    const int silent = ::socket(AF_INET, SOCK_STREAM, 0);
    ASSERT_GE(silent, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ASSERT_EQ(::bind(silent, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(silent, 4), 0);
    socklen_t length = sizeof address;
    ASSERT_EQ(::getsockname(silent, reinterpret_cast<sockaddr*>(&address), &length), 0);
    const std::string url =
        "https://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/u.json";

    CurlHttpLoader::Options options;
    options.totalTimeout = std::chrono::milliseconds(800);
    const auto start = std::chrono::steady_clock::now();
    const HttpLoadResult result = CurlHttpLoader(options).load(url);
    const auto elapsed = std::chrono::steady_clock::now() - start;
    ASSERT_FALSE(result.isSuccess());
    EXPECT_NE(result.errorDescription->find("timed out"), std::string::npos)
        << *result.errorDescription;
    EXPECT_LT(elapsed, std::chrono::seconds(5));
    ::close(silent);

    const HttpLoadResult refused = CurlHttpLoader(options).load(url);
    ASSERT_FALSE(refused.isSuccess());
    EXPECT_FALSE(refused.errorDescription->empty());
}

} // namespace
} // namespace windlark
