// The hidden-text questions asked directly: IsPositionHidden and
// IsTextHidden at random document positions, over lists of 1,000 to 60,000
// annotations. A hide-text add asks them of every character it covers, and
// each walks the annotation list from its head to the first node that starts
// after the position, so they are what the list index has to make short.
// They are internal functions: this program links the module's static build,
// annotation_internal, on purpose, and is the only benchmark that does.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/positions/list_queries.h"
#include "annotation/store/doc_state.h"
#include "fixtures.h"

namespace {

using bench::LargeDocument;

constexpr size_t kRandomPositions = 4096;

using HiddenQuery = uint16_t (*)(uint32_t hAnnoDocInfo, const AnnoPos* pos);

// `query` at one of 4,096 random positions per iteration, over range(0)
// hilites, icons and hidden texts (the list of BM_FindAt).
void TimeHiddenQueries(benchmark::State& state, HiddenQuery query) {
    LargeDocument& document = LargeDocument::Get();
    const auto count = static_cast<size_t>(state.range(0));
    if (const uint32_t result = document.AttachWith(bench::Mix::kDisplay, count); result != 0) {
        bench::Fail(state, "attaching the annotations", result);
        return;
    }
    uint32_t hAnnoDocInfo = 0;
    if (const uint32_t result = annotation::GetAnnoFromDoc(document.handle(), &hAnnoDocInfo); result != 0) {
        bench::Fail(state, "GetAnnoFromDoc", result);
        return;
    }
    const std::vector<AnnoPos> at = bench::RandomPositions(document.positions(), kRandomPositions, 0x41DEu);
    size_t next = 0;
    uint64_t hidden = 0;
    for (auto _ : state) {
        const uint16_t answer = query(hAnnoDocInfo, &at[next]);
        next = (next + 1) % kRandomPositions;
        hidden += answer;
        benchmark::DoNotOptimize(answer);
    }
    state.counters["per_query"] = bench::TimePer(1);
    state.counters["hidden_share"] =
        state.iterations() == 0 ? 0.0 : static_cast<double>(hidden) / static_cast<double>(state.iterations());
}

// Hidden by hidden text or a hidden paragraph break.
void BM_IsPositionHidden(benchmark::State& state) { TimeHiddenQueries(state, &annotation::IsPositionHidden); }
BENCHMARK(BM_IsPositionHidden)->ArgName("annos")->Arg(1000)->Arg(10000)->Arg(60000)->Unit(benchmark::kMicrosecond);

// Hidden by hidden text alone.
void BM_IsTextHidden(benchmark::State& state) { TimeHiddenQueries(state, &annotation::IsTextHidden); }
BENCHMARK(BM_IsTextHidden)->ArgName("annos")->Arg(1000)->Arg(10000)->Arg(60000)->Unit(benchmark::kMicrosecond);

}  // namespace
