#pragma once

#include "analysis/edges.h"
#include "analysis/spectrum.h"

#include <optional>
#include <vector>

// A part of a picture, which it must contain.
LumaImage cut(const LumaImage& picture, int32_t left, int32_t top, int32_t width, int32_t height);

// The means of 2 x 2 pixels each. An odd last row or column is left out.
LumaImage halved(const LumaImage& picture);

// A picture and its halves of halves, for finding shifts of any size. What is found at one level is
// refined at the next finer one.
class Pyramid {
public:
    explicit Pyramid(LumaImage picture);

    const LumaImage& level(size_t halvings) const { return levels_[halvings]; }

    // The finest level whose longer side has at most 320 pixels. Edges are compared there: finer
    // levels have more noise than edges, and coarser ones too few pixels to tell scenes apart.
    size_t middle() const { return middle_; }
    const EdgeMap& middleEdges() const { return middleEdges_; }

    // The coarsest level, with a longer side of at most 160 pixels, and its transform, unless the
    // picture is too thin for one. It is made when it is asked for.
    size_t coarsest() const { return levels_.size() - 1; }
    const std::optional<Spectrum>& spectrum() const;

private:
    std::vector<LumaImage> levels_;
    size_t middle_ = 0;
    EdgeMap middleEdges_;
    mutable std::optional<Spectrum> spectrum_;
};
