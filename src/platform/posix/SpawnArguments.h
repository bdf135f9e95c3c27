#pragma once

#include <string>
#include <vector>

namespace windlark {

// The argument vector posix_spawn wants: the program's path, its arguments, then a null
// pointer, over strings this object owns (posix_spawn takes non-const pointers).
class SpawnArguments {
public:
    SpawnArguments(const std::string& path, const std::vector<std::string>& arguments) {
        storage_.reserve(arguments.size() + 1);
        storage_.push_back(path);
        storage_.insert(storage_.end(), arguments.begin(), arguments.end());
        pointers_.reserve(storage_.size() + 1);
        for (std::string& argument : storage_) {
            pointers_.push_back(argument.data());
        }
        pointers_.push_back(nullptr);
    }
    SpawnArguments(const SpawnArguments&) = delete;
    SpawnArguments& operator=(const SpawnArguments&) = delete;

    [[nodiscard]] char* const* argv() { return pointers_.data(); }

private:
    std::vector<std::string> storage_;
    std::vector<char*> pointers_;
};

} // namespace windlark
