#pragma once

#include <nlohmann/json.hpp>

#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <vector>

struct RunResult {
    int status;
    std::string out;
    std::string err;

    nlohmann::json json() const { return nlohmann::json::parse(out); }
    long errorLines() const;
};

// Runs the tool as a process of its own, without a shell.
RunResult runTool(const std::vector<std::string>& arguments);

// Bad input: status 2, one line on stderr that holds `name` and `reason`, nothing on stdout.
void expectRefused(const RunResult& result, const std::string& name,
                   const std::string& reason = "");

// A test with a folder of its own.
class ToolTest : public testing::Test {
protected:
    ToolTest();
    ~ToolTest() override { std::filesystem::remove_all(folder); }

    std::string path(const std::string& name) const { return folder + "/" + name; }
    void write(const std::string& name, const std::string& bytes) const;
    std::string read(const std::string& name) const;

    std::string folder;
};
