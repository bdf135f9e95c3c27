#include "platform/linux/windlarkd/DaemonInstaller.h"

#include <chrono>
#include <csignal>
#include <ostream>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace windlark {
namespace {

// Runs one program to its end, or ends it after `limit`. The exit status, 128 + the
// signal, or -1 when it could not be started.
int runStep(std::vector<std::string> arguments, std::chrono::seconds limit) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) {
        argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    const pid_t child = ::fork();
    if (child < 0) {
        return -1;
    }
    if (child == 0) {
        ::execvp(argv[0], argv.data());
        ::_exit(127);
    }
    const auto deadline = std::chrono::steady_clock::now() + limit;
    int status = 0;
    while (::waitpid(child, &status, WNOHANG) == 0) {
        if (std::chrono::steady_clock::now() > deadline) {
            ::kill(child, SIGKILL);
            ::waitpid(child, &status, 0);
            return 128 + SIGKILL;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

} // namespace

int installDaemon(std::ostream& out) {
    if (::geteuid() != 0) {
        out << "windlarkd --install must run as root (pkexec or sudo)\n";
        return 1;
    }
    const std::vector<std::vector<std::string>> steps{
        {"systemd-sysusers", "windlarkd.conf"},
        {"systemctl", "daemon-reload"},
        {"systemctl", "enable", "--now", "windlarkd.socket"},
    };
    for (const auto& step : steps) {
        std::string line;
        for (const std::string& word : step) {
            line += (line.empty() ? "" : " ") + word;
        }
        out << "windlarkd: " << line << '\n';
        const int status = runStep(step, std::chrono::seconds(30));
        if (status != 0) {
            out << "windlarkd: \"" << line << "\" failed with status " << status << '\n';
            return 1;
        }
    }
    out << "windlarkd: installed; the socket is enabled\n";
    return 0;
}

} // namespace windlark
