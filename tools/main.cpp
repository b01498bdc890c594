#include "commands.h"
#include "error.h"
#include "options.h"
#include "text.h"

#include <cstdio>
#include <exception>
#include <new>

extern "C" {
#include <libavutil/log.h>
}

namespace {

void complain(const std::string& name, const std::string& reason) {
    std::fprintf(stderr, "kelvane: %s: %s\n", oneLine(name).c_str(), oneLine(reason).c_str());
}

Output run(const Options& options, PhaseTimes& times) {
    switch (options.command) {
    case Command::pick: return runPick(options, times);
    case Command::blur: return runBlur(options, times);
    case Command::resize: return runResize(options, times);
    case Command::smooth: return runSmooth(options, times);
    case Command::morph: return runMorph(options, times);
    case Command::align: return runAlign(options, times);
    case Command::changes: return runChanges(options, times);
    case Command::version: return runVersion();
    }
    return {};
}

void printTimes(const PhaseTimes& times) {
    using Seconds = std::chrono::duration<double>;
    const double total = Seconds(Clock::now() - times.start).count();
    const auto share = [&](Clock::duration phase) {
        return fixed(100 * Seconds(phase).count() / total, 2) + " %";
    };
    std::fprintf(stderr, "timing: %s s in all; decoding %s, conversion %s, library %s\n",
                 fixed(total, 3).c_str(), share(times.decoding).c_str(),
                 share(times.conversion).c_str(), share(times.library).c_str());
}

int runTool(int argc, char** argv) {
    PhaseTimes times;
    Options options;
    if (!parseOptions(argc, argv, options))
        return 0;
    const Output output = run(options, times);
    if (output.file)
        writeOutputFile(*output.file);
    for (const Skipped& skipped : output.skipped)
        complain(skipped.name, "skipped: " + skipped.reason);
    if (std::fwrite(output.text.data(), 1, output.text.size(), stdout) != output.text.size() ||
        std::fflush(stdout) != 0) {
        complain("standard output", "cannot be written");
        return failure;
    }
    if (options.timing)
        printTimes(times);
    return output.status;
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    try {
        return runTool(argc, argv);
    } catch (const InputError& error) {
        complain(error.name(), error.what());
        return badInput;
    } catch (const WriteError& error) {
        complain(error.name(), error.what());
        return failure;
    } catch (const std::bad_alloc&) {
        complain("memory", "not enough for this input");
        return failure;
    } catch (const std::exception& error) {
        complain("internal error", error.what());
        return failure;
    }
}
