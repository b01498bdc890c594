// Runs every operation once, at a fifth of the large size, for tools that count instructions. What
// they are to count lies in `measuredRun`, the preparation before it.
// Prints the name and the pixels of each operation, in the order of the runs.
#include "operations.h"

#include <cstdio>
#include <cstdlib>

extern "C" {

__attribute__((noinline)) long measuredRun(const Operation& operation) { return operation.run(); }

__attribute__((noinline)) void measuredRunEnds() { asm volatile(""); }
}

namespace {

constexpr int largeWidth = 4000;
constexpr int reduction = 5;

void reduce(Size& size) { size = {size.width / reduction, size.height / reduction}; }

// Of the pixels that are measured or made, whichever are more.
long pixelsOf(const Workload& workload) {
    const auto area = [](Size size) { return long{size.width} * size.height; };
    const long frames = workload.kind == Kind::bestShot ? workload.parameter : 1;
    return std::max(area(workload.size) * frames, area(workload.target));
}

// Other sizes differ in nothing but the pixels, and other peers not at all.
bool isRun(const Workload& workload) {
    if (workload.kind == Kind::resize && workload.parameter == pickingPixels)
        return false;
    return workload.kind == Kind::resizeToBgr24 ||
           std::max(workload.size.width, workload.target.width) == largeWidth;
}

} // namespace

int main() {
    for (Workload workload : workloads()) {
        if (!isRun(workload))
            continue;
        const std::string ratio = workload.target.width > 0 ? workload.sizeText() : "";
        reduce(workload.size);
        reduce(workload.target);
        const Operation operation(workload);
        if (measuredRun(operation) != ERR_NONE) {
            std::fprintf(stderr, "%s failed\n", workload.name.c_str());
            return EXIT_FAILURE;
        }
        measuredRunEnds();
        std::printf("%s%s%s\t%ld\n", workload.name.c_str(), ratio.empty() ? "" : "/", ratio.c_str(),
                    pixelsOf(workload));
    }
    return EXIT_SUCCESS;
}
