// The terms that the tool works out, over random bursts: beside what the library chooses, and
// beside the rules that the library's own tests compare it with.
#include "analysis/terms.h"

#include "analysis/engine.h"
#include "analysis/faces.h"
#include "support/plain_ranking.h"
#include "support/random.h"

#include <gtest/gtest.h>

namespace {

struct RandomBurst {
    explicit RandomBurst(Random& random)
        : n(random.between<size_t>(1, 13)), width(2 * random.between<int32_t>(8, 40)),
          height(2 * random.between<int32_t>(8, 40)) {
        const bool hasFaces = random.chance(60);
        const int64_t lowest = random.oneOf({0, 90, 5000, 199000});
        for (size_t i = 0; i < n; ++i) {
            scores.push_back(lowest + random.between(0, random.oneOf({0, 1, 9, 4000})));
            blurs.push_back(
                {width, height, KELVANE_FORMAT_YUV420, static_cast<int32_t>(scores[i])});
            lumas.push_back({width, height, random.image(int64_t{width} * height)});
            if (hasFaces)
                faces.push_back(makeFaces(random));
        }
    }

    std::vector<Face> makeFaces(Random& random) const {
        std::vector<Face> made;
        for (int64_t count = random.chance(50) ? random.between(0, 3) : 0; count > 0; --count)
            made.push_back({random.rectInside(width, height), random.between<uint32_t>(0, 16),
                            random.oneOf({0u, 30u, 80u, UINT32_MAX}),
                            random.oneOf({0u, 1u, 1u, UINT32_MAX})});
        return made;
    }

    void addObjects(Random& random) {
        const int64_t share = random.oneOf({30, 70, 100});
        for (size_t i = 0; i < n; ++i) {
            MovingObject& object = moving.ofFrames.emplace_back();
            object.found = random.chance(share);
            if (!object.found)
                continue;
            const auto left = random.between<int32_t>(0, width - 11);
            const auto top = random.between<int32_t>(0, height - 11);
            object.rect = {left, top, random.between<int32_t>(left + 11, width),
                           random.between<int32_t>(top + 11, height)};
            object.mask.resize(lumas[i].pixels.size());
            for (int32_t y = top; y < object.rect.bottom; ++y)
                for (int32_t x = left; x < object.rect.right; ++x)
                    object.mask[static_cast<size_t>(y * width + x)] = random.chance(50) ? 255 : 0;
            object.area = std::ranges::count(object.mask, 255);
            object.score = measurePart(lumas[i], object.rect);
            ++moving.found;
        }
        moving.used = moving.found > static_cast<int64_t>(n) / 2;
    }

    // The total as the rules of the library's own tests have it.
    Column plainTotals() const {
        Column areas(n), regions = scores;
        int64_t faceCount = 0;
        for (size_t i = 0; i < n; ++i) {
            faceCount += faces.empty() ? 0 : std::ssize(faces[i]);
            if (!moving.used || !moving.ofFrames[i].found)
                continue;
            areas[i] = moving.ofFrames[i].area;
            if (moving.ofFrames[i].score != 0)
                regions[i] = moving.ofFrames[i].score;
        }
        const bool facesCount = !faces.empty() && faceCount >= static_cast<int64_t>(n) / 2;
        const Column whole = plainNormalized(scores), region = plainNormalized(regions);
        areas = plainAreas(areas);
        Column totals;
        for (size_t i = 0; i < n; ++i)
            totals.push_back(
                plainScore(whole[i], region[i], areas[i] + (facesCount ? plainFaces(faces[i]) : 0),
                           moving.used ? plainPenalty(moving.ofFrames[i].rect, width, height) : 0));
        return totals;
    }

    static int64_t plainFaces(const std::vector<Face>& faces) {
        std::vector<uint64_t> codes, eyes, smiles;
        for (const Face& face : faces) {
            codes.push_back(face.code);
            eyes.push_back(face.eyesOpen == 0 ? 2 : face.eyesOpen == 1 ? 1 : 0);
            smiles.push_back(face.smileDegree == 80 ? 3 : face.smileDegree == 30 ? 2 : 0);
        }
        return plainFaceTerm(
            {std::ssize(faces), nullptr, codes.data(), eyes.data(), smiles.data()});
    }

    size_t n;
    int32_t width;
    int32_t height;
    std::vector<int64_t> scores;
    std::vector<_tag_DRAV_BLURRESULT> blurs;
    std::vector<LumaImage> lumas;
    FacesOfFrames faces;
    MovingObjects moving;
};

TEST(Terms, LeadToTheLibrarysChoice) {
    Random random;
    int used = 0;
    for (int round = 0; round < 3000; ++round) {
        RandomBurst burst(random);
        const bool moves = random.chance(60);
        Engine engine;
        if (moves) {
            burst.addObjects(random);
            engine.setMovingObjects(burst.moving, burst.width, burst.height);
            used += burst.moving.used ? 1 : 0;
        }
        const auto keep = random.between(1, static_cast<int64_t>(burst.n) + 1);
        std::vector<unsigned char> record =
            makeRecord(burst.faces, burst.n, burst.width, burst.height);
        const Ranking ranking = engine.rank(burst.blurs, record, keep, burst.lumas);
        Column totals;
        for (const Terms& terms : computeTerms(burst.scores, moves ? &burst.moving : nullptr,
                                               burst.faces, burst.width, burst.height))
            totals.push_back(terms.total);
        ASSERT_EQ(totals, burst.plainTotals()) << "round " << round;
        const auto n = static_cast<int64_t>(burst.n);
        ASSERT_EQ(ranking.best, firstBest(totals, 0, n)) << "round " << round;
        ASSERT_EQ(ranking.chosen, plainKept(totals, std::min(keep, n))) << "round " << round;
    }
    ASSERT_GT(used, 500);
}

} // namespace
