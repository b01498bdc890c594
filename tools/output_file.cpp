#include "output_file.h"

#include "error.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <system_error>
#include <unistd.h>

namespace {

std::string reason(int error) { return std::generic_category().message(error); }

// Writes everything and flushes it to the disk; 0 or the error.
int writeAndClose(int file, const std::string& bytes) {
    int error = 0;
    for (size_t done = 0; done < bytes.size() && error == 0;) {
        const ssize_t count = ::write(file, bytes.data() + done, bytes.size() - done);
        if (count >= 0)
            done += static_cast<size_t>(count);
        else if (errno != EINTR)
            error = errno;
    }
    if (error == 0 && ::fsync(file) != 0)
        error = errno;
    if (::close(file) != 0 && error == 0)
        error = errno;
    return error;
}

// The kernel refuses to replace a file that has come into being since the check; a file system
// that cannot refuse leaves it at the check.
int renameTo(const std::string& from, const OutputFile& file) {
    const unsigned flags = file.replace ? 0 : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, file.path.c_str(), flags) == 0)
        return 0;
    if (errno != EINVAL || file.replace)
        return errno;
    return ::rename(from.c_str(), file.path.c_str()) == 0 ? 0 : errno;
}

} // namespace

void checkOutputPath(const std::string& path, bool replace) {
    std::error_code error;
    const auto status = std::filesystem::symlink_status(path, error);
    if (!std::filesystem::exists(status))
        return;
    if (!std::filesystem::is_regular_file(status))
        throw InputError(path, "exists and is not a regular file");
    if (!replace)
        throw InputError(path, "exists; --force replaces it");
}

void writeOutputFile(const OutputFile& file) {
    checkOutputPath(file.path, file.replace);
    const std::string temporary = file.path + ".part" + std::to_string(::getpid());
    const int handle = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (handle < 0)
        throw InputError(file.path, reason(errno));
    int error = writeAndClose(handle, file.bytes);
    if (error == 0)
        error = renameTo(temporary, file);
    if (error == 0)
        return;
    ::unlink(temporary.c_str());
    if (error == EEXIST)
        throw InputError(file.path, "exists; --force replaces it");
    throw WriteError(file.path, reason(error));
}
