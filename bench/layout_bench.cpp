// Layout passes over the 1,000,000-character document: what a display engine
// pays per position to walk the document in reading order and ask at each
// position what to hide, highlight or insert, with lists of 0 to 60,000
// annotations; and, to compare, a bare walk over the document's positions.
#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdint>

#include "annotation/annotation.h"
#include "fixtures.h"

namespace {

using bench::LargeDocument;

// What one pass met.
struct PassCount {
    uint64_t positions = 0;
    uint64_t inserted = 0;  // text positions among them
    uint32_t changes = 0;   // ANTRACK_* bits reported anywhere
    uint32_t characters = 0;  // a sum of the inserted characters read
};

// A full pass from the first position: ANStartAnnoTrack, then at every
// position ANTrackAnno (as a display engine does, only after a start that
// answered 2), and ANGetAnnoText at text positions, stepping with ANNextPos
// until it finds no further position.
PassCount LayoutPass(uint32_t hDoc) {
    PassCount count;
    AnnoTextTrack text{};
    ANStartAnnoTextTrack(hDoc, &text);
    AnnoTrackInfo info{};
    AnnoPos pos{0, 0, 0, 0};
    const bool tracking = ANStartAnnoTrack(hDoc, &pos, &info) == 2;
    do {
        if (tracking) count.changes |= ANTrackAnno(hDoc, &pos, &info);
        if (ANIsAnnoTextPos(&pos) != 0) {
            uint16_t character = 0;
            ANGetAnnoText(hDoc, &text, &pos, &character);
            count.characters += character;
            ++count.inserted;
        }
        ++count.positions;
    } while (ANNextPos(hDoc, &pos, &pos) == 0);
    ANEndAnnoTrack(hDoc, &info);
    ANEndAnnoTextTrack(hDoc, &text);
    return count;
}

void ReportPass(benchmark::State& state, const PassCount& pass) {
    state.counters["per_position"] = bench::TimePer(static_cast<double>(pass.positions));
    state.counters["positions"] = static_cast<double>(pass.positions);
    state.counters["inserted"] = static_cast<double>(pass.inserted);
}

// range(0) annotations of range(1) ? the mix with inserted text : hilites,
// icons and hidden text only; added (untimed) in reverse document order.
void BM_LayoutPass(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    const auto count = static_cast<size_t>(state.range(0));
    const auto mix = static_cast<bench::Mix>(state.range(1));
    const bool fresh = !document.Holds(mix, count);
    if (const uint32_t result = document.AttachWith(mix, count); result != 0) {
        bench::Fail(state, "attaching the annotations", result);
        return;
    }
    // The first pass after a fill also builds what the module keeps to
    // answer a pass quickly (one walk over the list). It is made before the
    // timed passes and reported apart, so that the figure per position is
    // that of the passes a display engine makes while the annotations stay
    // as they are, whichever benchmark ran before.
    if (fresh) {
        const auto begin = std::chrono::steady_clock::now();
        benchmark::DoNotOptimize(LayoutPass(document.handle()));
        const std::chrono::duration<double, std::milli> first = std::chrono::steady_clock::now() - begin;
        state.counters["first_pass_ms"] = first.count();
    }
    PassCount pass;
    for (auto _ : state) {
        pass = LayoutPass(document.handle());
        benchmark::DoNotOptimize(pass);
    }
    ReportPass(state, pass);
}
BENCHMARK(BM_LayoutPass)
    ->ArgNames({"annos", "inserted"})
    ->Args({0, 0})
    ->Args({1000, 0})
    ->Args({10000, 0})
    ->Args({60000, 0})
    ->Args({1000, 1})
    ->Args({10000, 1})
    ->Args({60000, 1})
    ->Unit(benchmark::kMillisecond);

// The bare walk: ANNextChunkerPos alone over every document position, on a
// state without annotations (stepping needs the state).
void BM_ChunkerWalk(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    if (const uint32_t result = document.AttachWith(bench::Mix::kDisplay, 0); result != 0) {
        bench::Fail(state, "ANInit", result);
        return;
    }
    const uint32_t hDoc = document.handle();
    uint64_t positions = 0;
    for (auto _ : state) {
        AnnoPos pos{0, 0, 0, 0};
        AnnoPos next{};
        positions = 1;
        while (ANNextChunkerPos(hDoc, &pos, &next) == 0) {
            pos = next;
            ++positions;
        }
        benchmark::DoNotOptimize(pos);
    }
    state.counters["per_position"] = bench::TimePer(static_cast<double>(positions));
    state.counters["positions"] = static_cast<double>(positions);
}
BENCHMARK(BM_ChunkerWalk)->Unit(benchmark::kMillisecond);

}  // namespace
