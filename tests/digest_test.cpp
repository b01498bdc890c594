// Every case with every kind of vectors, and the digests that each processor, instruction set,
// compiler and optimisation level must reproduce.
#include "support/allocation_hook.h"
#include "support/cases.h"
#include "support/vector_hook.h"

namespace {

class Digests : public testing::TestWithParam<std::tuple<Case, Vectors>> {
public:
    ~Digests() override { widestVectors = Vectors::Avx512; }
};

TEST_P(Digests, IsTheCommittedOne) {
    const auto& [given, vectors] = GetParam();
    widestVectors = vectors;
    if (!kelvane::hasLevel(vectors))
        GTEST_SKIP() << "this processor has no " << kelvane::nameOf(vectors);
    Random random;
    noted = 0xCBF29CE484222325;
    for (int round = 0; round < given.rounds && !HasFailure(); ++round)
        given.run(random);
    EXPECT_EQ(allocationsUntilFailure, -1);
    if (sizeof(void*) < 8 && given.name == "AnySizes")
        GTEST_SKIP() << "records with smaller pointers fit where others do not";
    EXPECT_TRUE(noted == given.digest || !random.isUsual()) << "0x" << std::hex << noted;
}

std::string nameOfVariant(const testing::TestParamInfo<Digests::ParamType>& variant) {
    constexpr const char* vectors[] = {"_Baseline", "_Avx2", "_Avx512"};
    std::string name = std::get<0>(variant.param).name;
    return name.append(vectors[static_cast<int>(std::get<1>(variant.param))]);
}

INSTANTIATE_TEST_SUITE_P(Every, Digests,
                         testing::Combine(testing::ValuesIn(allCases()),
                                          testing::ValuesIn(kelvane::allLevels)),
                         nameOfVariant);

} // namespace

void PrintTo(const Case& given, std::ostream* out) { *out << given.name; }
