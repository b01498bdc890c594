#pragma once

#include "base/burst.h"
#include "base/progress.h"

#include <functional>
#include <string>
#include <vector>

// What a command has to say, composed in full before any of it is printed.
struct Output {
    std::string text; // or a picture
    std::vector<Skipped> skipped = {};
    int status = 0;         // of the process
    std::string aside = {}; // for stderr
};

// Exit statuses.
constexpr int failure = 1;
constexpr int badInput = 2;

// What the command line asks for.
struct Invocation {
    std::function<Output(PhaseTimes&)> run;
    int jobs = 0; // 0 for as many as there are processors
    bool timing = false;
};

// Reads the command line. Returns false when help was asked for and printed; throws InputError
// for arguments that make no sense.
bool parseArguments(int argc, char** argv, Invocation& invocation);
