#include "base/error.h"
#include "base/jobs.h"
#include "base/text.h"
#include "commands/commands.h"
#include "media/files.h"

#include <cstdio>
#include <exception>
#include <iostream>
#include <new>

extern "C" {
#include <libavutil/log.h>
}

namespace {

void complain(const std::string& name, const std::string& reason) {
    const std::string source = name == "-" ? "standard input" : oneLine(name);
    std::fputs(fmt::format("kelvane: {}: {}\n", source, oneLine(reason)).c_str(), stderr);
}

// In per cent of the time that one thread has.
void printTimes(const PhaseTimes& times, Clock::duration elapsed) {
    using Seconds = std::chrono::duration<double>;
    const double total = Seconds(elapsed).count();
    const auto share = [&](Clock::duration phase) { return 100 * Seconds(phase).count() / total; };
    std::fputs(fmt::format("timing: {:.3f} s in all; decoding {:.2f} %, conversion {:.2f} %, "
                           "library {:.2f} %\n",
                           total, share(times.decoding), share(times.conversion),
                           share(times.library))
                   .c_str(),
               stderr);
}

int runTool(int argc, char** argv) {
    const Clock::time_point start = Clock::now();
    PhaseTimes times;
    Invocation invocation;
    if (!parseArguments(argc, argv, invocation))
        return 0;
    const Output output = Jobs(invocation.jobs).run([&] { return invocation.run(times); });
    for (const Skipped& skipped : output.skipped)
        complain(skipped.name, "skipped: " + skipped.reason);
    std::fputs(output.aside.c_str(), stderr);
    writeToStdout(output.text);
    if (invocation.timing)
        printTimes(times, Clock::now() - start);
    return output.status;
}

} // namespace

int main(int argc, char** argv) {
    av_log_set_level(AV_LOG_QUIET);
    std::cerr.rdbuf(nullptr); // exempi's own log
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
