#include "media/files.h"

#include "base/error.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::string reason(int error) { return std::generic_category().message(error); }

struct FileCloser {
    void operator()(FILE* file) const { std::fclose(file); }
};
using FilePointer = std::unique_ptr<FILE, FileCloser>;

FilePointer openFile(const std::string& path) {
    FilePointer file(std::fopen(path.c_str(), "rbe"));
    if (!file)
        throw InputError(path, reason(errno));
    return file;
}

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

// The kernel refuses to replace a file that has appeared since the check. Not every file system can
// refuse; there the check has to do.
int renameTo(const std::string& from, const std::string& to, bool replace) {
    const unsigned flags = replace ? 0 : RENAME_NOREPLACE;
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), flags) == 0)
        return 0;
    if (errno != EINVAL || replace)
        return errno;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// Short, so that a file with the longest possible name has one too.
std::string temporaryName(const std::string& path) {
    static unsigned number = 0;
    const fs::path name = fmt::format(".kelvane-{}-{}.part", ::getpid(), number++);
    return (fs::path(path).parent_path() / name).string();
}

} // namespace

std::string readFile(const std::string& path) {
    const FilePointer file = openFile(path);
    std::string bytes;
    char part[1 << 16];
    for (size_t count = 0; (count = std::fread(part, 1, sizeof part, file.get())) > 0;)
        bytes.append(part, count);
    if (std::ferror(file.get()) != 0)
        throw InputError(path, reason(errno));
    return bytes;
}

void LineReader::Closer::operator()(FILE* file) const {
    if (file != stdin)
        std::fclose(file);
}

LineReader::LineReader(const std::string& path)
    : name_(path == "-" ? "standard input" : path),
      file_(path == "-" ? stdin : openFile(path).release()) {}

std::optional<std::string> LineReader::next() {
    char* text = nullptr;
    size_t room = 0;
    const ssize_t length = ::getline(&text, &room, file_.get());
    const int error = errno;
    const std::unique_ptr<char, void (*)(void*)> owner(text, std::free);
    if (length < 0 && std::feof(file_.get()) == 0)
        throw InputError(name_, reason(error));
    if (length < 0)
        return std::nullopt;
    const auto size = static_cast<size_t>(length);
    return std::string(text, text[size - 1] == '\n' ? size - 1 : size);
}

void writeToStdout(const std::string& text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0)
        throw WriteError("standard output", reason(errno));
}

void checkOutputPath(const std::string& path, bool replace) {
    std::error_code error;
    const auto status = fs::symlink_status(path, error);
    if (!fs::exists(status))
        return;
    if (!fs::is_regular_file(status))
        throw InputError(path, "exists and is not a regular file");
    if (!replace)
        throw InputError(path, "exists; --force replaces it");
}

HeldSignals::HeldSignals() {
    sigemptyset(&held_);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM}) {
        struct sigaction action = {};
        if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
            sigaddset(&held_, signal);
    }
    sigprocmask(SIG_BLOCK, &held_, &before_);
}

HeldSignals::~HeldSignals() { sigprocmask(SIG_SETMASK, &before_, nullptr); }

bool HeldSignals::pending() const {
    sigset_t waiting;
    sigpending(&waiting);
    for (const int signal : {SIGHUP, SIGINT, SIGTERM})
        if (sigismember(&waiting, signal) == 1 && sigismember(&held_, signal) == 1 &&
            sigismember(&before_, signal) == 0)
            return true;
    return false;
}

StagedFiles::~StagedFiles() {
    std::error_code ignored;
    for (const Entry& entry : entries_)
        fs::remove(entry.temporary, ignored);
    if (!folder_.empty())
        fs::remove(folder_, ignored);
}

void StagedFiles::addFolder(const std::string& path) {
    std::error_code error;
    if (fs::create_directory(path, error))
        folder_ = path;
    if (error)
        throw InputError(path, error.message());
}

void StagedFiles::stage(const std::string& path, bool replace,
                        const std::function<int(const std::string&)>& make) {
    if (signals_.pending())
        throw WriteError(path, "interrupted");
    int error = EEXIST;
    while (error == EEXIST) { // a killed run left a file of this name
        const std::string temporary = temporaryName(path);
        error = make(temporary);
        if (error == 0)
            entries_.push_back({temporary, path, replace});
    }
    if (error != 0)
        throw InputError(path, reason(error));
}

void StagedFiles::addFile(const OutputFile& file) {
    int handle = -1;
    stage(file.path, file.replace, [&](const std::string& name) {
        handle = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        return handle < 0 ? errno : 0;
    });
    if (const int error = writeAndClose(handle, file.bytes))
        throw WriteError(file.path, reason(error));
}

void StagedFiles::addCopy(const std::string& source, const std::string& path, bool replace) {
    addFile({path, readFile(source), replace});
    std::error_code ignored;
    const fs::file_time_type changed = fs::last_write_time(source, ignored);
    fs::last_write_time(entries_.back().temporary, changed, ignored);
}

void StagedFiles::addLink(const std::string& source, const std::string& path, bool replace) {
    const std::string target = fs::absolute(source).string();
    stage(path, replace, [&](const std::string& name) {
        return ::symlink(target.c_str(), name.c_str()) != 0 ? errno : 0;
    });
}

void StagedFiles::commit() {
    for (auto entry = entries_.begin(); entry != entries_.end();) {
        const int error = renameTo(entry->temporary, entry->path, entry->replace);
        if (error == EEXIST)
            throw InputError(entry->path, "exists; --force replaces it");
        if (error != 0)
            throw WriteError(entry->path, reason(error));
        entry = entries_.erase(entry);
    }
    folder_.clear();
}

void writeOutputFile(const OutputFile& file) {
    checkOutputPath(file.path, file.replace);
    StagedFiles files;
    files.addFile(file);
    files.commit();
}
