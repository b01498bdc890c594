// What is found out about two pictures: their shift, and where they differ.
#include "analysis/difference_mask.h"
#include "bindings.h"
#include "memory.h"
#include "pixels.h"

#include <fmt/format.h>

#include <mutex>

namespace {

struct Pair {
    Luma first;
    Luma second;

    Pair(py::handle a, py::handle b, Order order) : first(a, "a", order), second(b, "b", order) {
        checkSameSize(first, second, "b");
    }
};

// A context of the library for pictures of one size, made anew for those of another one. Threads
// take turns.
class SizedContext {
public:
    explicit SizedContext(std::optional<int64_t> budget) : memory_(budget) {}
    virtual ~SizedContext() = default;
    SizedContext(const SizedContext&) = delete;
    SizedContext& operator=(const SizedContext&) = delete;

protected:
    using Lock = std::unique_lock<std::mutex>;

    virtual void make(int32_t width, int32_t height) = 0;
    virtual void release() = 0;

    Lock lockFor(const Luma& luma) {
        Lock lock(mutex_);
        if (context_ == nullptr || luma.width() != width_ || luma.height() != height_) {
            release();
            make(luma.width(), luma.height());
            width_ = luma.width();
            height_ = luma.height();
        }
        return lock;
    }

    Memory memory_;
    void* context_ = nullptr;

private:
    std::mutex mutex_;
    int32_t width_ = 0;
    int32_t height_ = 0;
};

class Aligner : public SizedContext {
public:
    using SizedContext::SizedContext;
    ~Aligner() override { Alignment_Uninit(&context_); }

    std::pair<long, long> find(py::handle a, py::handle b, const std::string& channels) {
        const Pair pair(a, b, orderOf(channels));
        const py::gil_scoped_release released;
        const Lock lock = lockFor(pair.first);
        __tag_KIRO_OFFSCREEN views[] = {pair.first.view(), pair.second.view()};
        _tag_ZEP_NS_INPUTINFO input = {2, {&views[0], &views[1]}};
        long shifts[2][2] = {};
        long* results[] = {shifts[0], shifts[1]};
        memory_.check(Image_Alignment_Video(context_, &input, 0, results, 1), "an alignment");
        return {shifts[1][0], shifts[1][1]};
    }

private:
    void make(int32_t, int32_t) override {
        memory_.check(Alignment_Init(memory_.handle(), &context_), "an alignment");
    }
    void release() override { Alignment_Uninit(&context_); }
};

class ChangeDetector : public SizedContext {
public:
    using SizedContext::SizedContext;
    ~ChangeDetector() override { roiUninit(&context_); }

    // The box, the share of changed pixels, the shift, and the mask or None.
    py::tuple find(py::handle a, py::handle b, const std::string& channels, bool withMask) {
        const Pair pair(a, b, orderOf(channels));
        constexpr int32_t smallestSide = 100; // the cleaning has no radius below it
        const __tag_KIRO_OFFSCREEN first = pair.first.view(), second = pair.second.view();
        if (std::min(first.width, first.height) < smallestSide)
            throw py::value_error(
                fmt::format("a: {} x {} pixels; finding changes needs {} on the shorter side",
                            first.width, first.height, smallestSide));
        py::object mask = py::none();
        unsigned char* pixels = nullptr;
        if (withMask) {
            py::array_t<unsigned char> array({first.height, first.width});
            pixels = array.mutable_data();
            mask = array;
        }
        _tag_ROI_INFO info = {};
        {
            const py::gil_scoped_release released;
            info = compare(pair);
            if (pixels != nullptr)
                fillMask(first, second, {info.dx, info.dy}, pixels);
        }
        const __tag_rect& box = info.rect;
        return py::make_tuple(py::make_tuple(box.left, box.top, box.right, box.bottom),
                              info.changedRatio, py::make_tuple(info.dx, info.dy), mask);
    }

private:
    void make(int32_t width, int32_t height) override {
        memory_.check(roiInit(memory_.handle(), width, height, KELVANE_FORMAT_YUV420, &context_),
                      "finding changes");
    }
    void release() override { roiUninit(&context_); }

    _tag_ROI_INFO compare(const Pair& pair) {
        const Lock lock = lockFor(pair.first);
        __tag_KIRO_OFFSCREEN first = pair.first.view(), second = pair.second.view();
        _tag_DRAV_ALIGNMENT unread = {};
        _tag_ROI_INFO info = {};
        const long code = roiCalculate(context_, &first, &second, &unread, &info);
        if (code == ERR_INVALID_PARAM) // all else was checked
            throw py::value_error("b: is found shifted by its whole size, so that nothing is left "
                                  "to compare");
        memory_.check(code, "finding changes");
        return info;
    }

    static void fillMask(const __tag_KIRO_OFFSCREEN& first, const __tag_KIRO_OFFSCREEN& second,
                         Shift shift, unsigned char* pixels) {
        DifferenceMask difference = {first.width, first.height};
        heap().check(difference.compare({first.planes[0], first.pitches[0]},
                                        {second.planes[0], second.pitches[0]}, shift),
                     "a mask");
        for (int64_t y = 0; y < difference.height; ++y)
            std::transform(difference.pixels.data() + y * difference.pitch,
                           difference.pixels.data() + y * difference.pitch + difference.width,
                           pixels + y * difference.width, [](unsigned char value) {
                               return value == DifferenceMask::unchanged ? 0 : 255;
                           });
    }
};

} // namespace

void addPairs(py::module_& module) {
    py::class_<Aligner>(module, "Aligner")
        .def(py::init<std::optional<int64_t>>())
        .def("find", &Aligner::find);
    py::class_<ChangeDetector>(module, "ChangeDetector")
        .def(py::init<std::optional<int64_t>>())
        .def("find", &ChangeDetector::find);
}
