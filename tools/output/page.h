#pragma once

#include "base/burst.h"

#include <span>
#include <string>

// Frames on the contact sheet of each of `bursts` bursts: fewer for each of many.
size_t sheetCapacity(size_t bursts);

// Whether the burst with this number, from 0, is shown with its comparison.
bool showsComparison(size_t number);

// A self-contained HTML page about ranked bursts (docs/tool.md), with the pictures inside.
class ReportPage {
public:
    explicit ReportPage(size_t bursts) : count_(bursts) {}

    // The next burst, with its pictures, which the page needs no more after this.
    void add(const Burst& burst);

    std::string html(const std::string& title, std::span<const Burst> bursts) const;

private:
    size_t count_;
    size_t added_ = 0;
    std::string sections_;
};
