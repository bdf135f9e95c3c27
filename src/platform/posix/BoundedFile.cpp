#include "platform/posix/BoundedFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace windlark {

namespace {

std::string typeError(mode_t mode) {
    if (S_ISDIR(mode)) {
        return "is a directory, not a regular file";
    }
    if (S_ISFIFO(mode)) {
        return "is a FIFO, not a regular file";
    }
    if (S_ISCHR(mode) || S_ISBLK(mode)) {
        return "is a device, not a regular file";
    }
    if (S_ISSOCK(mode)) {
        return "is a socket, not a regular file";
    }
    return "is not a regular file";
}

std::string sizeError(std::size_t limit) {
    return "is larger than " + std::to_string(limit) + " bytes";
}

BoundedFileRead failure(std::string error) {
    return {.contents = std::nullopt, .error = std::move(error), .isMissing = false};
}

} // namespace

BoundedFileRead readBoundedFile(const std::filesystem::path& path, std::size_t limit) {
    // O_NONBLOCK: opening a FIFO for reading would otherwise wait for a writer.
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY);
    if (descriptor < 0) {
        const int error = errno;
        BoundedFileRead result = failure(std::strerror(error));
        result.isMissing = error == ENOENT || error == ENOTDIR;
        return result;
    }
    struct Closer {
        int descriptor;
        ~Closer() { (void)::close(descriptor); }
    } closer{descriptor};

    // The opened descriptor, not the path: the path may have been swapped meanwhile.
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        return failure(std::strerror(errno));
    }
    if (!S_ISREG(status.st_mode)) {
        return failure(typeError(status.st_mode));
    }
    if (status.st_size < 0 || static_cast<std::uintmax_t>(status.st_size) > limit) {
        return failure(sizeError(limit));
    }

    // The file may grow while it is read; one byte past the limit is enough to tell.
    std::string contents(static_cast<std::size_t>(status.st_size), '\0');
    std::size_t length = 0;
    for (;;) {
        if (length == contents.size()) {
            if (contents.size() > limit) {
                return failure(sizeError(limit));
            }
            contents.resize(std::min(limit + 1, std::max<std::size_t>(contents.size() * 2, 4096)));
        }
        const ssize_t count =
            ::read(descriptor, contents.data() + length, contents.size() - length);
        if (count < 0) {
            if (errno == EINTR) {
                continue;
            }
            return failure(std::strerror(errno));
        }
        if (count == 0) {
            break;
        }
        length += static_cast<std::size_t>(count);
    }
    contents.resize(length);
    return {.contents = std::move(contents), .error = {}, .isMissing = false};
}

} // namespace windlark
