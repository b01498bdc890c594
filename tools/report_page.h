#pragma once

#include "burst.h"

#include <span>
#include <string>

// Frames on the contact sheet of each of `bursts` bursts: fewer for each of many.
size_t sheetCapacity(size_t bursts);

// A self-contained HTML page about ranked bursts (docs/tool.md), with the pictures inside. The
// sheets are completed by the best and the kept frames, which are decoded again.
class ReportPage {
public:
    explicit ReportPage(size_t bursts) : count_(bursts) {}

    void add(Burst& burst, PhaseTimes& times);

    std::string html(const std::string& title, std::span<const Burst> bursts) const;

private:
    size_t count_;
    size_t added_ = 0;
    std::string sections_;
};
