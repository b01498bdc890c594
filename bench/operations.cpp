#include "operations.h"

#include <algorithm>
#include <array>
#include <utility>

namespace {

constexpr Size fullHd = {1920, 1080};
constexpr Size twelveMegapixels = {4000, 3000};
constexpr int unalignedPadding = 52; // rows begin at any multiple of 4

std::string withNumber(std::string text, int number) { return text += std::to_string(number); }

Size half(Size size) { return {size.width / 2, size.height / 2}; }

bool isInPlace(Kind kind) { return kind == Kind::erosion || kind == Kind::dilation; }

void addSharpness(std::vector<Workload>& list, Size size) {
    const auto add = [&](const char* format, uint32_t code, double goal) {
        list.push_back(
            {Kind::sharpness, std::string("imgEvaluateSharpness/") + format, size, goal, code});
    };
    add("0x601", KELVANE_FORMAT_YUV420, 60);
    add("0x501", KELVANE_FORMAT_YUYV, 20);
    add("0x101", KELVANE_FORMAT_RGB565, 20);
    add("0x304", KELVANE_FORMAT_XRGB32, 20);
}

void addSmoothing(std::vector<Workload>& list, Size size) {
    for (const uint32_t format : {KELVANE_FORMAT_YUV420, KELVANE_FORMAT_BGR24})
        for (const int radius : {1, 2, 5, 15}) {
            const bool isGrey = format == KELVANE_FORMAT_YUV420;
            std::string name = withNumber("GB_BoxBlurA/radius ", radius);
            name += isGrey ? "" : ", 3 channels";
            list.push_back({Kind::boxBlur, name, size, isGrey ? 2.5 : 2, format, radius});
        }
    constexpr std::pair<int, double> kernels[] = {{3, 1}, {5, 1}, {11, 2}, {21, 4}};
    for (const auto& [kernel, goal] : kernels)
        list.push_back({Kind::gaussianBlur, withNumber("GB_GaussianBlurA/size ", kernel), size,
                        goal, KELVANE_FORMAT_YUV420, kernel});
}

void addMorphology(std::vector<Workload>& list, Size size) {
    constexpr std::pair<int, double> goals[] = {{1, 1}, {6, 1.5}, {10, 2}, {20, 3}};
    for (const Kind kind : {Kind::erosion, Kind::dilation})
        for (const auto& [radius, goal] : goals) {
            const char* const name =
                kind == Kind::erosion ? "sbrErode/radius " : "sbrDilate/radius ";
            list.push_back(
                {kind, withNumber(name, radius), size, goal, KELVANE_FORMAT_YUV420, radius});
        }
    list.push_back({Kind::opening, "sbrOpen/radius 10", size, 2, KELVANE_FORMAT_YUV420, 10});
}

void addResizing(std::vector<Workload>& list) {
    // 0x501 stands for two channels: two bytes per pixel.
    constexpr Size reduced = {1920, 1440};
    const auto add = [&](const char* name, Size from, Size to, double goal, uint32_t format) {
        list.push_back(
            {Kind::resize, std::string("ImageResize_BL/") + name, from, goal, format, 0, to, 0});
    };
    add("1 channel", twelveMegapixels, reduced, 2.5, KELVANE_FORMAT_YUV420);
    add("2 channels", twelveMegapixels, reduced, 2.5, KELVANE_FORMAT_YUYV);
    for (const Size size : {fullHd, twelveMegapixels}) {
        add("2:1", size, half(size), 1, KELVANE_FORMAT_YUV420);
        add("2:1, peer without filter", size, half(size), 0, KELVANE_FORMAT_YUV420);
        list.back().parameter = pickingPixels;
        add("1:2", half(size), size, 1.5, KELVANE_FORMAT_YUV420);
    }
    for (const uint32_t format : {KELVANE_FORMAT_YUV420, KELVANE_FORMAT_YUV420_CRCB}) {
        const std::string name = std::string("ImageResize_BL_ToBGR24/") +
                                 (format == KELVANE_FORMAT_YUV420 ? "0x601" : "0x802");
        list.push_back({Kind::resizeToBgr24, name, fullHd, 2.5, format, 0, {1280, 720}, 0});
        list.push_back({Kind::resizeToBgr24, name, twelveMegapixels, 2, format, 0, {800, 600}, 0});
    }
}

void addFramePairs(std::vector<Workload>& list, Size size, double alignmentGoal) {
    list.push_back({Kind::bitmaps, "threshold, bitmap set and pyramid", size, 8});
    list.push_back({Kind::displacement, "BitmapOperation2/one displacement", size, 2});
    list.push_back({Kind::nineDisplacements, "BitmapOperationline2/nine displacements", size, 2});
    list.push_back({Kind::alignment, "Image_Alignment_Video/two frames", size, alignmentGoal});
    list.push_back({Kind::changedRegion, "roiCalculate/with alignment", size, 3});
}

// Photographs made small, and the patches of the finest level of large frames.
void addSmallPairs(std::vector<Workload>& list) {
    for (const Size size : {Size{1020, 660}, Size{794, 420}})
        list.push_back({Kind::alignment, "Image_Alignment_Video/two frames", size, 10});
    for (const Size size : {Size{480, 272}, Size{512, 376}})
        list.push_back({Kind::patches, "InterBitmapOperation2/16 patches", size, 2});
}

// Padding makes the Gaussian two passes instead of three, and rows begin anywhere.
void addPadded(std::vector<Workload>& list) {
    const std::vector<Workload> plain = list;
    for (Workload workload : plain) {
        const bool wanted =
            (workload.kind == Kind::gaussianBlur && workload.parameter != 3) ||
            (workload.kind == Kind::sharpness && workload.format == KELVANE_FORMAT_YUV420) ||
            (workload.kind == Kind::boxBlur && workload.parameter == 5) ||
            (workload.kind == Kind::erosion && workload.parameter == 10);
        if (!wanted || workload.size.width != twelveMegapixels.width)
            continue;
        workload.padding = unalignedPadding;
        workload.name += ", padded";
        list.push_back(workload);
    }
}

RowSpan rowsOf(const Frame& frame, int plane, int64_t rows, int64_t step) {
    return {frame.image.planes[plane], planeShape(frame.image.format, plane, frame.size()).rowBytes,
            step * frame.image.pitches[plane], rows};
}

RowSpan allRows(const Frame& frame) { return rowsOf(frame, 0, frame.image.height, 1); }

// Of every four rows the first and the third are sampled.
RowSpan sampledRows(const Frame& frame) { return rowsOf(frame, 0, frame.image.height / 2, 2); }

// The crop of the best shot leaves out a fifth of the shorter side.
RowSpan sampledRowsOfCrop(const Frame& frame) {
    const int cut = std::min(frame.image.width, frame.image.height) / 5;
    RowSpan span = sampledRows(frame);
    span.first += int64_t{cut / 2} * frame.image.pitches[0] + cut / 2;
    span.rowBytes -= cut;
    span.rows -= cut / 2;
    return span;
}

// Every row of the target needs one source row where the factor leaves no weight for the next one.
std::vector<RowSpan> rowsToResize(const Operation& operation) {
    const Workload& workload = operation.workload;
    const bool centred = workload.kind == Kind::resizeToBgr24;
    const int factor = workload.size.height / workload.target.height;
    const bool exact = workload.size.height % workload.target.height == 0 && factor > 1 &&
                       (!centred || factor % 2 != 0);
    std::vector<RowSpan> spans = {allRows(operation.output)};
    for (int plane = 0; plane < (centred ? planeCount(workload.format) : 1); ++plane) {
        const int rows = planeShape(workload.format, plane, workload.size).rows;
        const int needed = std::min(rows, workload.target.height * (exact || plane > 0 ? 1 : 2));
        spans.push_back(rowsOf(operation.source, plane, needed, rows / needed));
    }
    return spans;
}

std::function<long()> sharpnessRun(Operation& operation) {
    operation.touched = {sampledRows(operation.source)};
    return [&operation] {
        __tag_rect whole = {0, 0, operation.source.image.width, operation.source.image.height};
        return imgEvaluateSharpness(nullptr, &operation.source.image, &operation.sharpness, &whole);
    };
}

std::function<long()> planeRun(Operation& operation) {
    operation.touched = {allRows(operation.source), allRows(operation.output)};
    return [&operation]() -> long {
        const __tag_KIRO_OFFSCREEN& from = operation.source.image;
        const Workload& workload = operation.workload;
        const long channels = bytesPerPixel(workload.format);
        const long value = workload.parameter;
        unsigned char* const to = operation.output.image.planes[0];
        switch (workload.kind) {
        case Kind::boxBlur:
            return GB_BoxBlurA(nullptr, from.planes[0], from.width, from.height, from.pitches[0],
                               from.format, to, value, value, value, value);
        case Kind::gaussianBlur:
            return GB_GaussianBlurA(nullptr, from.planes[0], from.width, from.height,
                                    from.pitches[0], from.format, to, value);
        case Kind::erosion:
            return sbrErode(nullptr, to, from.width, from.height, from.pitches[0], channels, to,
                            value);
        case Kind::dilation:
            return sbrDilate(nullptr, to, from.width, from.height, from.pitches[0], channels, to,
                             value);
        default:
            return sbrOpen(nullptr, from.planes[0], from.width, from.height, from.pitches[0],
                           channels, to, value);
        }
    };
}

std::function<long()> resizeRun(Operation& operation) {
    operation.touched = rowsToResize(operation);
    if (operation.workload.kind == Kind::resizeToBgr24)
        return [&operation] {
            const __tag_KIRO_OFFSCREEN& to = operation.output.image;
            return ImageResize_BL_ToBGR24(nullptr, &operation.source.image, to.planes[0], to.width,
                                          to.height, to.pitches[0]);
        };
    void* made = nullptr;
    const __tag_KIRO_OFFSCREEN& from = operation.source.image;
    const __tag_KIRO_OFFSCREEN& to = operation.output.image;
    const int channels = bytesPerPixel(from.format);
    ImageResize_AllocMem_BL(nullptr, from.width, from.height, channels, to.width, to.height, &made);
    const std::shared_ptr<void> buffer(made, [](void* memory) { VantMemFree(nullptr, memory); });
    return [&operation, buffer, channels] {
        const __tag_KIRO_OFFSCREEN& source = operation.source.image;
        const __tag_KIRO_OFFSCREEN& target = operation.output.image;
        void* held = buffer.get();
        return ImageResize_BL(source.planes[0], source.width, source.height, source.pitches[0],
                              channels, target.planes[0], target.width, target.height,
                              target.pitches[0], &held);
    };
}

// How two threshold bitmaps disagree when one is moved, once, nine times, or in 16 patches.
std::function<long()> disagreementRun(Operation& operation) {
    operation.second.paint(alignedShift.width, alignedShift.height);
    operation.answer = {0};
    const auto [width, height] = operation.workload.size;
    const long rowBytes = (width + 31) / 32 * 4 + 4;
    std::vector<unsigned char> bitmaps[2];
    for (Frame* const frame : {&operation.source, &operation.second}) {
        auto& bitmap = bitmaps[frame == &operation.second];
        bitmap.resize(static_cast<size_t>(rowBytes * height));
        ComputeBitmaps2(frame->image.planes[0], width, height, frame->image.pitches[0],
                        bitmap.data(), rowBytes, bitmapThreshold, 0, frame->image.format);
    }
    return [&operation, first = bitmaps[0], second = bitmaps[1], width = long{width},
            height = long{height}, rowBytes]() mutable -> long {
        const auto [dx, dy] = alignedShift;
        long& sum = operation.answer[0];
        std::array<unsigned char, 16> valid;
        switch (operation.workload.kind) {
        case Kind::displacement:
            sum = static_cast<long>(
                BitmapOperation2(first.data(), second.data(), width, height, rowBytes, dx, dy));
            break;
        case Kind::nineDisplacements:
            sum = 0;
            for (const long down : {-1, 0, 1}) {
                std::array<long, 3> counts;
                BitmapOperationline2(first.data(), second.data(), counts.data(), width, height,
                                     rowBytes, dx, dy + down);
                sum += counts[0] + counts[1] + counts[2];
            }
            break;
        default:
            valid.fill(1);
            sum = InterBitmapOperation2(first.data(), second.data(), valid.data(), valid.data(),
                                        width, height, rowBytes, 1, -1);
        }
        return ERR_NONE;
    };
}

std::shared_ptr<void> alignmentContext() {
    void* made = nullptr;
    Alignment_Init(nullptr, &made);
    return {made, [](void* context) { Alignment_Uninit(&context); }};
}

// The sizes of the levels as the alignment itself chooses them.
std::function<long()> bitmapsRun(Operation& operation) {
    constexpr long stored = 3;
    const auto context = alignmentContext();
    auto* const ctx = static_cast<_tag_ZEP_ABDEBLUR*>(context.get());
    const long width = operation.workload.size.width;
    const long height = operation.workload.size.height;
    long levels = 0;
    while (std::max(width, height) >> levels > 64)
        ++levels;
    unsigned char* set = nullptr;
    _tag_BitPyramid_Struct* pyramid = nullptr;
    Alloc_ComputeBitMaps_Video(ctx, &set, width, height, levels, stored, 0);
    Alloc_ComputeBitPyramid_Video(ctx, &pyramid, width, height, levels, stored, 0);
    const std::shared_ptr<unsigned char> heldSet(
        set, [](unsigned char* memory) { VantMemFree(nullptr, memory); });
    const std::shared_ptr<_tag_BitPyramid_Struct> heldPyramid(
        pyramid, [context, ctx](_tag_BitPyramid_Struct* memory) { ReleasePyrBit(ctx, &memory); });
    operation.answer = {-1};
    return [&operation, context, ctx, heldSet, heldPyramid, width, height, levels] {
        __tag_KIRO_OFFSCREEN& image = operation.source.image;
        long histogram[256];
        long& threshold = operation.answer[0];
        long code = TorInterThreshold(ctx, &image, nullptr, &threshold, width, height,
                                      image.pitches[0], histogram);
        if (code == ERR_NONE)
            code = Creat_ComputeBitMaps_Video(heldSet.get(), &image, threshold, width, height,
                                              levels, stored, 1);
        if (code == ERR_NONE)
            code = Creat_ComputePyramidMaps_Video(heldPyramid.get(), &image, threshold, width,
                                                  height, levels, stored, 1);
        return code;
    };
}

std::function<long()> alignmentRun(Operation& operation) {
    operation.second.paint(alignedShift.width, alignedShift.height);
    operation.answer = {0, 0};
    return [&operation, context = alignmentContext()] {
        long own[2];
        long* results[2] = {own, operation.answer.data()};
        _tag_ZEP_NS_INPUTINFO input = {2, {&operation.source.image, &operation.second.image}};
        return Image_Alignment_Video(context.get(), &input, 0, results, 1);
    };
}

// A white object enters the scene of a camera that stands still.
std::function<long()> changedRegionRun(Operation& operation) {
    const auto [width, height] = operation.workload.size;
    const __tag_KIRO_OFFSCREEN& changed = operation.second.image;
    for (int y = height / 3; y < height / 2; ++y)
        std::fill_n(changed.planes[0] + int64_t{y} * changed.pitches[0] + width / 3, width / 6,
                    static_cast<unsigned char>(255));
    void* made = nullptr;
    roiInit(nullptr, width, height, operation.workload.format, &made);
    const std::shared_ptr<void> context(made, [](void* roi) { roiUninit(&roi); });
    operation.answer = {0, 0, 0, 0};
    operation.touched = {allRows(operation.source), allRows(operation.second)};
    return [&operation, context] {
        _tag_DRAV_ALIGNMENT unused = {};
        _tag_ROI_INFO info = {};
        const long code = roiCalculate(context.get(), &operation.source.image,
                                       &operation.second.image, &unused, &info);
        operation.answer = {info.rect.left, info.rect.top, info.rect.right, info.rect.bottom};
        return code;
    };
}

// All frames but one are out of focus.
std::function<long()> bestShotRun(Operation& operation) {
    const Workload& workload = operation.workload;
    for (long i = 0; i < workload.parameter; ++i) {
        Frame& frame = operation.burst.emplace_back(workload.format, workload.size, 0);
        const __tag_KIRO_OFFSCREEN& image = frame.image;
        if (i == sharpestFrame)
            frame.copyFrom(operation.source);
        else
            GB_BoxBlurA(nullptr, operation.source.image.planes[0], image.width, image.height,
                        image.pitches[0], image.format, image.planes[0], 1, 1, 1, 1);
        operation.touched.push_back(sampledRowsOfCrop(frame));
    }
    _tag_DRAV_ENGINE* made = nullptr;
    DRAV_Init(nullptr, &made);
    const std::shared_ptr<_tag_DRAV_ENGINE> engine(
        made, [](_tag_DRAV_ENGINE* memory) { DRAV_Uninit(&memory); });
    operation.answer = {-1};
    return [&operation, engine] {
        std::vector<__tag_KIRO_OFFSCREEN> frames;
        for (const Frame& frame : operation.burst)
            frames.push_back(frame.image);
        _tag_DRAV_FACEINFO noFaces = {};
        const std::vector<_tag_DRAV_PARAM> params(frames.size(), {nullptr, &noFaces});
        int64_t kept[3];
        _tag_DRAV_RESULT result = {3, kept, -1};
        const long code = DRAV_Kelvane(engine.get(), frames.data(), params.data(),
                                       static_cast<long>(frames.size()), &result);
        operation.answer[0] = static_cast<long>(result.best);
        return code;
    };
}

std::function<long()> runOf(Operation& operation) {
    switch (operation.workload.kind) {
    case Kind::sharpness: return sharpnessRun(operation);
    case Kind::resize:
    case Kind::resizeToBgr24: return resizeRun(operation);
    case Kind::bitmaps: return bitmapsRun(operation);
    case Kind::displacement:
    case Kind::nineDisplacements:
    case Kind::patches: return disagreementRun(operation);
    case Kind::alignment: return alignmentRun(operation);
    case Kind::changedRegion: return changedRegionRun(operation);
    case Kind::bestShot: return bestShotRun(operation);
    default: return planeRun(operation);
    }
}

Frame outputOf(const Workload& workload) {
    switch (workload.kind) {
    case Kind::resize: return Frame(workload.format, workload.target, workload.padding);
    case Kind::resizeToBgr24: return Frame(KELVANE_FORMAT_BGR24, workload.target, 0);
    case Kind::boxBlur:
    case Kind::gaussianBlur:
    case Kind::erosion:
    case Kind::dilation:
    case Kind::opening: return Frame(workload.format, workload.size, workload.padding);
    default: return {};
    }
}

} // namespace

std::string dimensions(Size size) {
    return withNumber(withNumber("", size.width) += "x", size.height);
}

std::string Workload::sizeText() const {
    const std::string text = dimensions(size);
    return target.width > 0 ? text + " to " + dimensions(target) : text;
}

std::vector<Workload> workloads() {
    std::vector<Workload> list;
    for (const Size size : {fullHd, twelveMegapixels}) {
        addSharpness(list, size);
        addSmoothing(list, size);
        addMorphology(list, size);
    }
    addPadded(list);
    addResizing(list);
    addFramePairs(list, fullHd, 10);
    addFramePairs(list, twelveMegapixels, 20);
    addSmallPairs(list);
    list.push_back({Kind::bestShot, "DRAV_Kelvane/10 frames", twelveMegapixels, 60,
                    KELVANE_FORMAT_YUV420, 10});
    std::stable_sort(list.begin(), list.end(),
                     [](const Workload& a, const Workload& b) { return a.kind < b.kind; });
    return list;
}

Operation::Operation(const Workload& what)
    : workload(what), source(what.format, what.size, what.padding), output(outputOf(what)) {
    source.paint(0, 0);
    if (what.kind >= Kind::displacement && what.kind <= Kind::changedRegion) {
        second = Frame(what.format, what.size, what.padding);
        second.copyFrom(source);
    }
    if (isInPlace(what.kind))
        output.copyFrom(source);
    run = runOf(*this);
}
