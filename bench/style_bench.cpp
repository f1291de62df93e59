// Style lookups: a document's table, then the global one, as tracking
// resolves a named hilite at every hilite change of a layout pass.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>

#include "annotation/annotation.h"
#include "engine/engine.h"

namespace {

void BM_GetHiliteStyleFallsBackToGlobal(benchmark::State& state) {
    const std::string description = "text\n";
    uint32_t hDoc = 0;
    ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()), 0, &hDoc);
    uint32_t hGlobal = 0;
    ANInitGlobalHiliteStyles(&hGlobal);
    const auto styles = static_cast<uint32_t>(state.range(0));
    for (uint32_t id = 0; id < styles; ++id) {
        const HiliteStyle style{28, id, ANHS_COLOR1ON, id, 0, 0, 0, 0};
        ANAddGlobalHiliteStyle(hGlobal, &style);
    }
    ANInit(hDoc, hGlobal, nullptr, 0);
    HiliteStyle found{};
    uint32_t id = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(ANGetHiliteStyle(hDoc, id, &found));
        id = (id + 1) % styles;
    }
    ANDeInit(hDoc);
    ANDeInitGlobalHiliteStyles(hGlobal);
    ENCloseDocument(hDoc);
}
BENCHMARK(BM_GetHiliteStyleFallsBackToGlobal)->Arg(10)->Arg(100);

}  // namespace
