// The command-line tool with damaged pictures and face files: it ends in time, with one of its
// exit codes. It runs as a child, built with the same sanitizers. A report that begins in a
// library that was not built here is the decoder's own: it is printed and the run goes on.
#include "fuzz_case.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/wait.h>

namespace {

// libFuzzer keeps inputs that count at a new place: those with a new message on stderr.
[[gnu::section("__libfuzzer_extra_counters")]] unsigned char messages[4096];

void write(const std::string& name, const std::vector<unsigned char>& bytes) {
    std::ofstream(name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()), std::ssize(bytes));
}

std::string readFile(const char* name) {
    std::ifstream file(name);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A folder of this process, with a picture that is intact: 100 pixels are the least for `changes`.
void enterFolder() {
    std::string name = std::filesystem::temp_directory_path() / "kelvane-fuzz-XXXXXX";
    if (mkdtemp(name.data()) == nullptr)
        std::abort();
    std::filesystem::current_path(name);
    std::string header = "P5 104 100 255\n";
    std::vector<unsigned char> bytes(header.begin(), header.end());
    bytes.resize(header.size() + 104 * 100);
    Random(1).fill(bytes.data() + header.size(), 104 * 100);
    write("intact.pgm", bytes);
    static const std::filesystem::path folder = name;
    std::atexit([] { std::filesystem::remove_all(folder); });
}

// The first frame of a report that is neither the sanitizer's nor the C library's.
std::string faultyFrame(const std::string& report) {
    std::istringstream lines(report);
    for (std::string line; std::getline(lines, line);) {
        const bool isFrame = line.find("    #") == 0;
        bool isHelper = false;
        for (const char* helper : {"sanitizer", "interceptor", "asan", "libc.so", "libstdc++.so"})
            isHelper |= line.find(helper) != std::string::npos;
        if (isFrame && !isHelper)
            return line;
    }
    return "";
}

} // namespace

void fuzzCase(FuzzedRandom& random) {
    static const bool entered = (enterFolder(), true);
    ASSERT_TRUE(entered);
    const char* const command = random.oneOf(
        {"blur in", "pick in intact.pgm --skip-bad --json", "pick --moving in intact.pgm in",
         "resize in out.png --force --size 9x7", "smooth in out.png --force --size 9",
         "morph in out.png --force --op close --radius 3", "align intact.pgm in",
         "changes in intact.pgm --overlay out.png --force", "pick intact.pgm --faces in"});
    write("in", random.rest());
    const std::string environment = "ASAN_OPTIONS=exitcode=99:handle_abort=1:detect_leaks=0 "
                                    "UBSAN_OPTIONS=exitcode=99:print_stacktrace=1 ";
    const int status = std::system(
        (environment + "timeout -k 1 20 " KELVANE_TOOL " " + command + " >/dev/null 2>report")
            .c_str());
    const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    const std::string report = readFile("report"), frame = faultyFrame(report);
    messages[std::hash<std::string>()(command + report) % sizeof messages] = 1;
    const bool isDecoders = code == 99 && (frame.find("(/lib") != std::string::npos ||
                                           frame.find("(/usr/lib") != std::string::npos);
    if (isDecoders)
        std::cerr << "DECODER: " << frame << '\n';
    ASSERT_TRUE((code >= 0 && code <= 2) || isDecoders) << command << '\n' << code << report;
}
