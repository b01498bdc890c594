// Every random case of the tests, with choices that are made by the input.
#include "support/cases.h"
#include "fuzz_case.h"

void fuzzCase(FuzzedRandom& random) {
    static std::vector<Case> cases = allCases();
    std::erase_if(cases, [](const Case& each) { return each.rounds == 1; });
    cases[static_cast<size_t>(random.between(0, std::ssize(cases) - 1))].run(random);
}
