#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace windlark {

// A fresh, empty directory under the system's temporary folder, removed with everything
// in it when the object goes. Each test gets its own, so tests may run in parallel.
class ScratchDirectory {
public:
    ScratchDirectory() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "windlark-test-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) {
            path_ = pattern;
        }
    }
    ~ScratchDirectory() {
        if (!path_.empty()) {
            // Tests may leave read-only folders behind; make them writable to remove them.
            std::error_code error;
            for (auto it = std::filesystem::recursive_directory_iterator(path_, error);
                 !error && it != std::filesystem::recursive_directory_iterator();
                 it.increment(error)) {
                std::filesystem::permissions(it->path(), std::filesystem::perms::owner_all,
                                             std::filesystem::perm_options::add, error);
            }
            std::filesystem::remove_all(path_, error);
        }
    }
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

} // namespace windlark
