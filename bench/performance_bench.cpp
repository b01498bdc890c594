// Every operation beside its peers. One repetition runs the operation, a plain read of the bytes
// that it must touch, and every peer, one after the other; ratios are formed within a repetition,
// so that a machine whose speed drifts decides nothing.
#include "measurement.h"
#include "memory_roof.h"
#include "peers.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

double meanDifference(const Frame& frame, const unsigned char* rows, int64_t pitch) {
    const PlaneShape shape = planeShape(frame.image.format, 0, frame.size());
    int64_t sum = 0;
    for (int64_t y = 0; y < shape.rows; ++y) {
        const unsigned char* const ours = frame.image.planes[0] + y * frame.image.pitches[0];
        for (int64_t x = 0; x < shape.rowBytes; ++x)
            sum += std::abs(ours[x] - rows[y * pitch + x]);
    }
    return static_cast<double>(sum) / shape.rowBytes / shape.rows;
}

namespace {

// Many, so that a disturbance spoils few pairs. Frames that keep a peer busy for a tenth of a
// second get fewer.
constexpr int repetitions = 25;
constexpr int repetitionsOfLongRuns = 7;

int repetitionsOf(const Workload& workload) {
    return workload.kind >= Kind::alignment ? repetitionsOfLongRuns : repetitions;
}

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

// One side of a comparison.
struct Candidate {
    std::string name;
    std::function<void()> run;
    double firstTime; // in seconds, as all times
    int64_t batch;
    std::vector<double> times; // one a repetition

    Candidate(std::string what, std::function<void()> how)
        : name(std::move(what)), run(std::move(how)) {
        warm();
        firstTime = secondsOf(run, 1);
        batch = batchOf(firstTime);
    }
    // What the others read has gone from the caches; the last one takes it in at its second use.
    void warm() const {
        run();
        run();
    }
    void measure() {
        warm();
        times.push_back(secondsOf(run, batch) / static_cast<double>(batch));
    }
    double ratioTo(const Candidate& other) const {
        std::vector<double> ratios;
        for (size_t i = 0; i < times.size(); ++i)
            ratios.push_back(times[i] / other.times[i]);
        return median(ratios);
    }
};

void runOurs(const Operation& operation) {
    const long code = operation.run();
    if (code != ERR_NONE) {
        std::fprintf(stderr, "%s: returned %ld\n", operation.workload.name.c_str(), code);
        std::exit(1);
    }
}

std::vector<Peer> peersOf([[maybe_unused]] const Operation& operation) {
    std::vector<Peer> peers;
#ifdef KELVANE_HAS_OPENCV
    peers = opencvPeers(operation);
#endif
#ifdef KELVANE_HAS_LIBYUV
    for (Peer& peer : libyuvPeers(operation))
        peers.push_back(std::move(peer));
#endif
    return peers;
}

// A comparison with something else would mean nothing.
void checkPeer(const Operation& operation, const Peer& peer) {
    const double error = peer.error();
    if (error <= peer.tolerance)
        return;
    std::fprintf(stderr, "%s: differs from %s by %.3g, more than %.3g\n",
                 operation.workload.name.c_str(), peer.name.c_str(), error, peer.tolerance);
    std::exit(1);
}

// Peers that take twice the time of another need no repetitions.
void keepContenders(std::vector<Candidate>& peers) {
    double fastest = INFINITY;
    for (const Candidate& peer : peers)
        fastest = std::min(fastest, peer.firstTime);
    std::erase_if(peers, [&](const Candidate& peer) { return peer.firstTime > 2 * fastest; });
}

void compare(benchmark::State& state, const Workload& workload) {
    const Operation operation(workload);
    std::vector<Peer> peers = peersOf(operation);
    runOurs(operation);
    for (const Peer& peer : peers) {
        peer.run();
        checkPeer(operation, peer);
    }
    Candidate ours(workload.name, [&] { runOurs(operation); });
    Candidate roof("roof", [&] { readRows(operation.touched); });
    std::vector<Candidate> others;
    for (const Peer& peer : peers)
        others.emplace_back(peer.name, peer.run);
    keepContenders(others);

    for (auto _ : state) {
        ours.measure();
        roof.measure();
        for (Candidate& other : others)
            other.measure();
        state.SetIterationTime(ours.times.back());
    }

    state.counters["ms"] = 1e3 * median(ours.times);
    state.counters["goal"] = workload.goal;
    if (!operation.touched.empty())
        state.counters["roof_share"] = roof.ratioTo(ours);
    const auto best =
        std::min_element(others.begin(), others.end(), [](const Candidate& a, const Candidate& b) {
            return median(a.times) < median(b.times);
        });
    if (best == others.end())
        return;
    state.counters["peer_ms"] = 1e3 * median(best->times);
    state.counters["ratio"] = best->ratioTo(ours);
    state.SetLabel(best->name);
}

void measureRoof(benchmark::State& state, Size size, bool copies) {
    const Frame from(KELVANE_FORMAT_YUV420, size, 0);
    const Frame to(KELVANE_FORMAT_YUV420, size, 0);
    const RowSpan all = {from.image.planes[0], size.width, size.width, size.height};
    Candidate roof("roof", [&] {
        if (copies)
            copyRows(all, to.image.planes[0]);
        else
            readRows({all});
    });
    for (auto _ : state) {
        roof.measure();
        state.SetIterationTime(roof.times.back());
    }
    state.counters["ms"] = 1e3 * median(roof.times);
    state.counters["GB/s"] = 1e-9 * size.width * size.height / median(roof.times);
}

void add(const std::string& name, int count, std::function<void(benchmark::State&)> function) {
    benchmark::RegisterBenchmark(name.c_str(), function)
        ->UseManualTime()
        ->Unit(benchmark::kMillisecond)
        ->Iterations(count);
}

void registerAll() {
    const std::vector<Workload> all = workloads();
    for (const Size size : {all.front().size, all.back().size}) {
        for (const bool copies : {false, true})
            add((copies ? "memory/copy/" : "memory/read/") + dimensions(size), repetitions,
                [=](benchmark::State& state) { measureRoof(state, size, copies); });
    }
    for (const Workload& workload : all)
        add(workload.name + "/" + workload.sizeText(), repetitionsOf(workload),
            [=](benchmark::State& state) { compare(state, workload); });
}

const char* vectorsHere() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("avx512vbmi") != 0)
        return "AVX-512 with VBMI";
    return __builtin_cpu_supports("avx2") != 0 ? "AVX2" : "SSE2";
#else
    return "NEON";
#endif
}

void describe() {
    std::string missing;
#ifndef KELVANE_HAS_OPENCV
    missing += " OpenCV";
#endif
#ifndef KELVANE_HAS_LIBYUV
    missing += " libyuv";
#endif
    if (!missing.empty())
        std::fprintf(stderr, "not installed when this was built, so not compared with:%s\n",
                     missing.c_str());
    benchmark::AddCustomContext("missing_peers", missing);
    benchmark::AddCustomContext("vectors", vectorsHere());
#ifdef __clang__
    benchmark::AddCustomContext("compiler", "Clang " __clang_version__);
#else
    benchmark::AddCustomContext("compiler", "GCC " __VERSION__);
#endif
}

} // namespace

int main(int argc, char** argv) {
    prepareToMeasure();
    describe();
    registerAll();
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
