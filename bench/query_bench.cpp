// Questions a viewer asks of a document: which annotation lies at a position
// (ANFindAnno, ANFIND_AT), and the mapping between character counts (ACCs)
// and positions (ANMapPosition) over the 1,000,000-character document.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "annotation/annotation.h"
#include "fixtures.h"

namespace {

using bench::LargeDocument;

constexpr uint32_t kRandomPositions = 4096;

// One ANFindAnno at `pos`, matching any userId (ALLBITS of 0): whether a
// node was found.
bool FindAt(uint32_t hDoc, const AnnoPos& pos, AnnoFindInfo& info) {
    info = AnnoFindInfo{};
    info.size = sizeof info;
    info.searchFlags = ANFIND_AT | ANMATCH_ALLBITS;
    info.matchId = 0;
    info.pos = pos;
    return ANFindAnno(hDoc, 0, &info) == 0;
}

// ANFindAnno at random document positions over range(0) hilites, icons and
// hidden texts. With range(1) = 1, only at positions where a node is found:
// at 1k annotations few random positions are covered and at 60k nearly all,
// and a find that fills the record costs more than one that finds nothing,
// so this variant shows the growth with the list alone.
void BM_FindAt(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    const auto count = static_cast<size_t>(state.range(0));
    if (const uint32_t result = document.AttachWith(bench::Mix::kDisplay, count); result != 0) {
        bench::Fail(state, "attaching the annotations", result);
        return;
    }
    const uint32_t hDoc = document.handle();
    std::vector<AnnoPos> at = bench::RandomPositions(document.positions(), kRandomPositions, 0xF17Du);
    if (state.range(1) == 1) {
        std::vector<AnnoPos> covered;
        AnnoFindInfo info{};
        for (uint64_t seed = 0xF17Du; covered.size() < kRandomPositions && seed < 0xF17Du + 1000; ++seed) {
            for (const AnnoPos& pos : bench::RandomPositions(document.positions(), kRandomPositions, seed)) {
                if (covered.size() < kRandomPositions && FindAt(hDoc, pos, info)) covered.push_back(pos);
            }
        }
        if (covered.size() < kRandomPositions) {
            bench::Fail(state, "drawing covered positions", static_cast<uint32_t>(covered.size()));
            return;
        }
        at = std::move(covered);
    }
    size_t next = 0;
    uint64_t found = 0;
    for (auto _ : state) {
        AnnoFindInfo info;
        if (FindAt(hDoc, at[next], info)) ++found;
        next = (next + 1) % kRandomPositions;
        benchmark::DoNotOptimize(info);
    }
    state.counters["per_find"] = bench::TimePer(1);
    state.counters["found_share"] =
        state.iterations() == 0 ? 0.0 : static_cast<double>(found) / static_cast<double>(state.iterations());
}
BENCHMARK(BM_FindAt)
    ->ArgNames({"annos", "covered"})
    ->ArgsProduct({{1000, 10000, 60000}, {0, 1}})
    ->Unit(benchmark::kMicrosecond);

// ACC to position for each of `accs`, in turn.
void MapAccs(benchmark::State& state, uint32_t hDoc, const std::vector<uint32_t>& accs) {
    uint32_t failed = 0;
    for (auto _ : state) {
        for (uint32_t acc : accs) {
            AnnoMapPosition request{sizeof request, ANMAP_ACCTOPOS, {}, acc};
            failed += ANMapPosition(hDoc, &request) != 0 ? 1u : 0u;
            benchmark::DoNotOptimize(request);
        }
    }
    if (failed != 0) bench::Fail(state, "ANMapPosition", failed);
    state.counters["per_mapping"] = bench::TimePer(static_cast<double>(accs.size()));
}

// ACC to position for every character, in document order (range 0), or at
// random ACCs (range 1): seldom in the chunks whose maps the module holds on
// to.
void BM_MapAccToPos(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    if (const uint32_t result = document.AttachWith(bench::Mix::kDisplay, 0); result != 0) {
        bench::Fail(state, "ANInit", result);
        return;
    }
    const auto characters = static_cast<uint32_t>(document.characters().size());
    std::vector<uint32_t> accs;
    if (state.range(0) == 0) {
        accs.resize(characters);
        for (uint32_t acc = 0; acc < characters; ++acc) accs[acc] = acc;
    } else {
        bench::Random random(0xACCu);
        accs.resize(kRandomPositions);
        for (uint32_t& acc : accs) acc = random.Below(characters);
    }
    MapAccs(state, document.handle(), accs);
}
BENCHMARK(BM_MapAccToPos)->ArgName("random")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

// Position to ACC for every character, in document order.
void BM_MapPosToAcc(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    if (const uint32_t result = document.AttachWith(bench::Mix::kDisplay, 0); result != 0) {
        bench::Fail(state, "ANInit", result);
        return;
    }
    const uint32_t hDoc = document.handle();
    const std::vector<AnnoPos>& positions = document.positions();
    const std::vector<uint32_t>& characters = document.characters();
    uint32_t failed = 0;
    for (auto _ : state) {
        for (uint32_t index : characters) {
            AnnoMapPosition request{sizeof request, ANMAP_POSTOACC, positions[index], 0};
            failed += ANMapPosition(hDoc, &request) != 0 ? 1u : 0u;
            benchmark::DoNotOptimize(request);
        }
    }
    if (failed != 0) bench::Fail(state, "ANMapPosition", failed);
    state.counters["per_mapping"] = bench::TimePer(static_cast<double>(characters.size()));
}
BENCHMARK(BM_MapPosToAcc)->Unit(benchmark::kMillisecond);

}  // namespace
