// Every case with every kind of vectors, and the digests that each processor, instruction set,
// compiler and optimisation level must reproduce.
#include "support/allocation_hook.h"
#include "support/cases.h"
#include "support/vector_hook.h"

namespace {

const char* nameOf(Vectors vectors) {
    constexpr const char* names[] = {"Baseline", "Avx2", "Avx512"};
    return names[static_cast<int>(vectors)];
}

class Digests : public testing::TestWithParam<std::tuple<Case, Vectors>> {
public:
    ~Digests() override { widestVectors = Vectors::Avx512; }
};

TEST_P(Digests, IsTheCommittedOne) {
    const auto& [given, vectors] = GetParam();
    widestVectors = vectors;
    if (!hasVectors(vectors))
        GTEST_SKIP() << "this processor has no " << nameOf(vectors);
    Random random;
    noted = 0xCBF29CE484222325;
    for (int round = 0; round < given.rounds && !HasFailure(); ++round)
        given.run(random);
    EXPECT_EQ(allocationsUntilFailure, -1);
    EXPECT_TRUE(noted == given.digest || !random.isUsual()) << "0x" << std::hex << noted;
}

std::string nameOfVariant(const testing::TestParamInfo<Digests::ParamType>& variant) {
    std::string name = std::get<0>(variant.param).name;
    return name.append("_").append(nameOf(std::get<1>(variant.param)));
}

INSTANTIATE_TEST_SUITE_P(Every, Digests,
                         testing::Combine(testing::ValuesIn(allCases()),
                                          testing::Values(Vectors::Baseline, Vectors::Avx2,
                                                          Vectors::Avx512)),
                         nameOfVariant);

} // namespace

void PrintTo(const Case& given, std::ostream* out) { *out << given.name; }
