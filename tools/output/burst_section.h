#pragma once

#include "base/burst.h"

#include <string>

// Where a burst is shown.
struct SectionPlace {
    std::string folder; // of the page, for links to the photographs
    size_t number;      // of the burst, from 0
    size_t count;       // of all bursts
};

// "burst-7", for links to its section.
std::string burstId(size_t number);

// When the first of grouped frames was taken: "2026-05-01 10:20:30.250".
std::string startText(const Burst& burst);

// The section of a page about a ranked burst, with its pictures inside.
std::string burstSection(const Burst& burst, const SectionPlace& place);
