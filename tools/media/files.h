#pragma once

#include <csignal>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

// The bytes of a file, or InputError with the system's reason.
std::string readFile(const std::string& path);

// The lines of a file, or of standard input for "-". Failures are thrown as InputError.
class LineReader {
public:
    explicit LineReader(const std::string& path);

    // The next line without its line feed, or nothing at the end.
    std::optional<std::string> next();

private:
    struct Closer {
        void operator()(FILE* file) const;
    };

    std::string name_;
    std::unique_ptr<FILE, Closer> file_;
};

// Throws WriteError when it cannot be written.
void writeToStdout(const std::string& text);

// A file that a command makes.
struct OutputFile {
    std::string path;
    std::string bytes;
    bool replace = false; // what is there already
};

// Throws InputError when the file may not be made: it exists and is not to be replaced, or is
// something else than a regular file. Spares a run whose result could not be kept.
void checkOutputPath(const std::string& path, bool replace);

// Holds back the signals that end a program, so that it can tidy up before they do.
class HeldSignals {
public:
    HeldSignals();
    ~HeldSignals();
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;

    bool pending() const;

private:
    sigset_t held_;
    sigset_t before_;
};

// Files that appear together. Each is written in full under a temporary name in its folder, and
// `commit` renames them all, so that a reader sees all of a file or none, and a run that fails, or
// is interrupted before it, leaves nothing behind.
class StagedFiles {
public:
    StagedFiles() = default;
    ~StagedFiles();
    StagedFiles(const StagedFiles&) = delete;
    StagedFiles& operator=(const StagedFiles&) = delete;

    // Makes the folder unless it is there.
    void addFolder(const std::string& path);

    void addFile(const OutputFile& file);

    // A copy that keeps the time of the last change.
    void addCopy(const std::string& source, const std::string& path, bool replace);

    // A symbolic link to the absolute path of `source`.
    void addLink(const std::string& source, const std::string& path, bool replace);

    void commit();

private:
    struct Entry {
        std::string temporary;
        std::string path;
        bool replace;
    };

    // Calls `make` with new names until it finds one that is free, and notes the entry. `make`
    // returns 0 or the error.
    void stage(const std::string& path, bool replace,
               const std::function<int(const std::string&)>& make);

    const HeldSignals signals_;
    std::vector<Entry> entries_;
    std::string folder_; // that was made
};

// One file that appears whole or not at all.
void writeOutputFile(const OutputFile& file);
