#pragma once

#include "base/burst.h"
#include "output/report.h"

#include <span>
#include <string>
#include <vector>

// Frames on the contact sheet of each of `bursts` bursts: fewer for each of many.
size_t sheetCapacity(size_t bursts);

// A file of a report.
struct PageFile {
    std::string path;
    std::string html;
};

// An HTML report about ranked bursts (docs/tool.md), with the pictures inside: one page, or of many
// bursts an index and numbered pages beside it.
class Report {
public:
    // The report of `bursts` bursts is to be written to `path`.
    Report(std::string path, std::string title, size_t bursts);

    // The next burst, with its pictures, which the report needs no more after this.
    void add(const Burst& burst);

    // Once all bursts are added: the index, or the only page, comes first.
    std::vector<PageFile> files(std::span<const Burst> bursts, const Notes& notes) const;

private:
    struct Page;

    // The number of a page of bursts is 0 when it is the only one.
    std::string pathOf(size_t page) const;
    std::string cover(const Burst& burst, size_t number, const std::string& page) const;
    std::string pageLinks(size_t current) const;
    std::string html(const Page& page, std::span<const Burst> bursts) const;

    std::string path_;
    std::string folder_;
    std::string title_;
    size_t count_;
    std::vector<std::string> sections_; // of each burst
    std::vector<std::string> covers_;   // their best frames, small
};
