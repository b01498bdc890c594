#include "run_tool.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <sys/wait.h>
#include <unistd.h>

namespace {

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string makeTemporaryFolder() {
    std::string pattern = testing::TempDir() + "kelvane_tool_XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
        throw std::runtime_error("no temporary folder");
    return pattern;
}

} // namespace

long RunResult::errorLines() const { return std::count(err.begin(), err.end(), '\n'); }

RunResult runTool(const std::vector<std::string>& arguments) {
    const std::string streams = makeTemporaryFolder();
    std::vector<std::string> words = {KELVANE_TOOL};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const std::string outPath = streams + "/out", errPath = streams + "/err";

    const pid_t child = fork();
    if (child == 0) {
        dup2(open(outPath.c_str(), O_WRONLY | O_CREAT, 0600), STDOUT_FILENO);
        dup2(open(errPath.c_str(), O_WRONLY | O_CREAT, 0600), STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    RunResult result = {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(outPath),
                        readFile(errPath)};
    std::filesystem::remove_all(streams);
    return result;
}

void expectRefused(const RunResult& result, const std::string& name, const std::string& reason) {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.errorLines(), 1) << result.err;
    EXPECT_EQ(result.err.rfind("kelvane: ", 0), 0u) << result.err;
    EXPECT_NE(result.err.find(name), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(reason), std::string::npos) << result.err;
}

ToolTest::ToolTest() : folder(makeTemporaryFolder()) {}

void ToolTest::write(const std::string& name, const std::string& bytes) const {
    std::ofstream(path(name), std::ios::binary) << bytes;
}

std::string ToolTest::read(const std::string& name) const { return readFile(path(name)); }
