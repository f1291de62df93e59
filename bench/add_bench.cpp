// Changing the list: adding mixed annotations one by one (in document order,
// in random order, and from the last back), one hide-text add that the
// module cuts at every paragraph end, and clearing every other annotation of
// a list.
#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "annotation/annotation.h"
#include "fixtures.h"

namespace {

// Times `add` on a fresh annotation state each iteration; attaching and
// taking the state down are not timed.
template <typename Add>
void TimeAddsOnFreshState(benchmark::State& state, uint32_t hDoc, Add add) {
    for (auto _ : state) {
        state.PauseTiming();
        ANInit(hDoc, 0, nullptr, 0);
        state.ResumeTiming();
        const uint32_t result = add();
        state.PauseTiming();
        ANDeInit(hDoc);
        state.ResumeTiming();
        if (result != 0) {
            bench::Fail(state, "ANAddAnno", result);
            break;
        }
    }
}

using bench::LargeDocument;

// Adds of range(0) annotations of `mix` into a list that starts empty, in
// the order range(1) names: by start, shuffled, or by start from the last
// one back. Taking the state up and down is not timed.
void TimeAdds(benchmark::State& state, bench::Mix mix) {
    LargeDocument& document = LargeDocument::Get();
    document.Detach();
    const uint32_t hDoc = document.handle();
    const auto count = static_cast<size_t>(state.range(0));
    const auto order = static_cast<bench::Order>(state.range(1));
    const std::vector<bench::PlannedAnno> annos = bench::MakeAnnos(document.positions(), count, mix, order);
    TimeAddsOnFreshState(state, hDoc, [&] { return bench::AddAnnos(hDoc, annos); });
    static constexpr const char* kOrders[] = {"document order", "random order", "reverse document order"};
    state.SetLabel(kOrders[state.range(1)]);
    state.counters["per_add"] = bench::TimePer(static_cast<double>(count));
}

// Hilites, icons and hidden text (none across a paragraph end).
void BM_AddAnnos(benchmark::State& state) { TimeAdds(state, bench::Mix::kDisplay); }
BENCHMARK(BM_AddAnnos)
    ->ArgNames({"annos", "order"})
    ->ArgsProduct({{1000, 10000}, {0, 1, 2}})
    ->Args({60000, 2})
    ->Unit(benchmark::kMillisecond);
// 60,000 adds by start or shuffled take one to several minutes: one
// iteration each.
BENCHMARK(BM_AddAnnos)
    ->ArgNames({"annos", "order"})
    ->Args({60000, 0})
    ->Args({60000, 1})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// The same with a tenth of them inserted text and inserted paragraph
// breaks: each such add changes the inserted text that the hide-text adds
// after it step through.
void BM_AddAnnosWithInserted(benchmark::State& state) { TimeAdds(state, bench::Mix::kWithInserted); }
BENCHMARK(BM_AddAnnosWithInserted)
    ->ArgNames({"annos", "order"})
    ->ArgsProduct({{10000, 60000}, {0, 1, 2}})
    ->Iterations(1)
    ->Unit(benchmark::kMillisecond);

// One ANNO_HIDETEXT add over 100,000 characters, from the middle of one
// paragraph into the middle of another 1,000 paragraphs on: the module keeps
// a piece for every paragraph, leaving the paragraph ends shown.
void BM_AddHideAcrossParagraphs(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    document.Detach();
    const uint32_t hDoc = document.handle();
    constexpr uint32_t kFirstAcc = 1050;
    constexpr uint32_t kCharacters = 100000;
    const AnnoPos start = document.positions()[document.characters()[kFirstAcc]];
    const AnnoPos end = document.positions()[document.characters()[kFirstAcc + kCharacters]];
    const HideTextAnno hide{sizeof(HideTextAnno), 1, start, end, 0};
    TimeAddsOnFreshState(state, hDoc, [&] { return ANAddAnno(hDoc, ANNO_HIDETEXT, &hide); });
    state.counters["per_add"] = bench::TimePer(1);
    state.counters["per_paragraph"] = bench::TimePer(kCharacters / bench::kLineLength);
}
BENCHMARK(BM_AddHideAcrossParagraphs)->Unit(benchmark::kMicrosecond);

// Counts the removals that a clear reports to the callback.
uint32_t removedCount = 0;
uint32_t CountRemoved(uint32_t code, uint32_t, void*, uint32_t) {
    if (code == 2) ++removedCount;
    return 0;
}

// ANClearAnnos of every other annotation (a userId bit) of a list of
// range(0) adds (fewer nodes: touching hidden ranges merge), of the mix
// range(1) names. Before each clear the list is refilled, untimed, by
// ANCopyAnnos from a document that holds the set. The clear is short next to
// the refill, so the iterations are fixed. One clear with a counting
// callback, before the timed ones, tells how many it removes.
void BM_ClearEveryOther(benchmark::State& state) {
    LargeDocument& document = LargeDocument::Get();
    document.Detach();
    const uint32_t hDoc = document.handle();
    const auto count = static_cast<size_t>(state.range(0));
    const auto mix = static_cast<bench::Mix>(state.range(1));
    const bench::SourceDocument source(mix, count);
    if (source.result() != 0) {
        bench::Fail(state, "making the source document", source.result());
        return;
    }
    removedCount = 0;
    ANInit(hDoc, 0, &CountRemoved, 0);
    ANCopyAnnos(hDoc, source.handle());
    ANClearAnnos(hDoc, ANMATCH_ALLBITS, bench::kEveryOtherBit);
    ANDeInit(hDoc);
    const uint32_t removed = removedCount;
    for (auto _ : state) {
        state.PauseTiming();
        ANInit(hDoc, 0, nullptr, 0);
        const uint32_t copied = ANCopyAnnos(hDoc, source.handle());
        state.ResumeTiming();
        const uint32_t result = ANClearAnnos(hDoc, ANMATCH_ALLBITS, bench::kEveryOtherBit);
        state.PauseTiming();
        ANDeInit(hDoc);
        state.ResumeTiming();
        if (copied != 0 || result != 0) {
            bench::Fail(state, copied != 0 ? "ANCopyAnnos" : "ANClearAnnos", copied != 0 ? copied : result);
            break;
        }
    }
    state.SetLabel(mix == bench::Mix::kDisplay ? "hilites, icons, hidden text" : "a tenth inserted text");
    state.counters["per_removed"] = bench::TimePer(removed);
    state.counters["removed"] = removed;
}
BENCHMARK(BM_ClearEveryOther)
    ->ArgNames({"annos", "inserted"})
    ->Args({10000, 0})
    ->Args({10000, 1})
    ->Iterations(50)
    ->Unit(benchmark::kMillisecond);
// Half of 60,000 with inserted text: removing inserted text or a paragraph
// break renumbers the text positions at its anchor, walking the list from
// its head up to the anchor, so the clear grows with the list squared. The
// source takes about 9 s to fill and a refill half a second: ten
// iterations, about 14 s in all.
BENCHMARK(BM_ClearEveryOther)
    ->ArgNames({"annos", "inserted"})
    ->Args({60000, 1})
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond);

}  // namespace
