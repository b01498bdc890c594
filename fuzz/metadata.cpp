// What pictures say about how they were taken, and the names of bursts: whatever a file holds, it
// is read without a fault.
#include "fuzz_case.h"

#include "media/burst_name.h"
#include "media/metadata.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

void fuzzCase(FuzzedRandom& random) {
    static const int file = memfd_create("fuzzed", 0);
    static const std::string path = "/proc/self/fd/" + std::to_string(file);
    const std::vector<unsigned char> bytes = random.rest();
    ASSERT_EQ(ftruncate(file, 0), 0);
    ASSERT_EQ(pwrite(file, bytes.data(), bytes.size(), 0), std::ssize(bytes));
    const Metadata metadata = readMetadata(path);
    ASSERT_GE(metadata.drive.position, 0);
    ASSERT_LE(std::abs(metadata.taken.minutesEast.value_or(0)), 14 * 60 + 59);
    ASSERT_LE(toText(metadata.taken).size(), size_t{24});
    burstName(std::string(bytes.begin(), bytes.end()));
}
