#pragma once

#include "media.h"

#include <nlohmann/json.hpp>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <sys/wait.h>

using Json = nlohmann::json;
using testing::HasSubstr;

inline std::string readFile(const std::string& path) {
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeFile(const std::string& path, const std::string& bytes) {
    std::ofstream(path) << bytes;
}

// The files of the working folder and what they hold.
inline std::map<std::string, std::string> files() {
    std::map<std::string, std::string> contents;
    for (const auto& entry : std::filesystem::directory_iterator("."))
        contents[entry.path()] = entry.is_regular_file() ? readFile(entry.path()) : "a folder";
    return contents;
}

// Runs the tool with the words of a shell's command line.
struct ToolRun {
    explicit ToolRun(const std::string& words)
        : status(std::system((KELVANE_TOOL " " + words + " >../out 2>../err").c_str())),
          out(readFile("../out")), err(readFile("../err")) {}

    const int status; // as `wait` gives it
    const std::string out, err;
};

// What the tool prints to stdout.
template <typename... Parts>
std::string runText(const Parts&... words) {
    const ToolRun run(join(words...));
    EXPECT_EQ(run.status, 0) << run.err;
    return run.out;
}

template <typename... Parts>
Json runJson(const Parts&... words) {
    return Json::parse(runText(words..., " --json"), nullptr, false);
}

// Bad input: status 2, one line on stderr, nothing on stdout, and every file as it was.
inline void expectRefused(const std::string& words, const std::string& message) {
    SCOPED_TRACE(words);
    const auto before = files();
    const ToolRun run(words);
    EXPECT_EQ(WEXITSTATUS(run.status), 2);
    EXPECT_EQ(run.out, "");
    EXPECT_THAT(run.err, testing::MatchesRegex("kelvane: [^\n]*\n"));
    EXPECT_THAT(run.err, HasSubstr(message));
    EXPECT_TRUE(files() == before);
}

// A test that works in a folder of its own.
class ToolTest : public testing::Test {
protected:
    ToolTest() {
        std::filesystem::create_directory(join(mkdtemp(root.data()), "/files"));
        std::filesystem::current_path(root + "/files");
    }
    ~ToolTest() override { std::filesystem::remove_all(root); }

private:
    std::string root = testing::TempDir() + "kelvane_tool_XXXXXX";
};
