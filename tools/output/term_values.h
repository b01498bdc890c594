#pragma once

#include "base/burst.h"

#include <string>
#include <vector>

// A term of a frame as the outputs show it.
struct TermValue {
    enum Reason { always, objects, faces };

    const char* key;   // in JSON and CSV
    const char* title; // for people
    Reason reason;     // what must have taken part for it to matter
    double value;
};

// In the order in which they make up the total, which comes last.
std::vector<TermValue> termValues(const Terms& terms);

// The same without those that cannot differ from frame to frame, because nothing moved or no faces
// were given.
std::vector<TermValue> usedTermValues(const Burst& burst, size_t frame);

// "9319", "-2187.5".
std::string termText(const TermValue& term);
