#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <string>

namespace windlark {

inline std::string readFile(const std::filesystem::path& path) {
    std::ifstream stream(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
}

inline void writeFile(const std::filesystem::path& path, const std::string& contents) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << contents;
}

// Sets an environment variable (unsets it for nullptr) until the end of the scope, so
// that one test's environment never leaks into the next.
class ScopedVariable {
public:
    ScopedVariable(const char* name, const char* value)
        : name_(name) {
        if (const char* old = std::getenv(name)) {
            saved_ = old;
        }
        value != nullptr ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~ScopedVariable() { saved_ ? ::setenv(name_, saved_->c_str(), 1) : ::unsetenv(name_); }
    ScopedVariable(const ScopedVariable&) = delete;
    ScopedVariable& operator=(const ScopedVariable&) = delete;

private:
    const char* name_;
    std::optional<std::string> saved_;
};

} // namespace windlark
