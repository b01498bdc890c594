// What other libraries offer for the same work.
#pragma once

#include "operations.h"

struct Peer {
    std::string name;
    std::function<void()> run;
    std::function<double()> error; // how far its result is from ours, each having run once
    double tolerance;
};

// Empty where the library has nothing comparable, or was not there when this was built. The peers
// refer to the operation.
std::vector<Peer> opencvPeers(const Operation& operation);
std::vector<Peer> libyuvPeers(const Operation& operation);

// Mean absolute difference of plane 0 and packed rows of the same shape.
double meanDifference(const Frame& frame, const unsigned char* rows, int64_t pitch);
