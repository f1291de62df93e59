// What the annotation benchmarks share: the large document they run on and
// its positions, reproducible sets of mixed annotations laid over it, the
// adds that put them in, and the counter that turns a run's time into a
// cost per position or per operation.
#ifndef BENCH_FIXTURES_H
#define BENCH_FIXTURES_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "annotation/annotation.h"

namespace bench {

// The large document: 10,000 paragraphs of 100 characters, 1,000,000
// characters in all (the engine cuts a chunk at the first paragraph end past
// 4,096 characters: 41 paragraphs a chunk).
constexpr uint32_t kLines = 10000;
constexpr uint32_t kLineLength = 100;

// A description of `lines` paragraphs of `length` printable characters each.
std::string LinesDescription(uint32_t lines, uint32_t length);

// A small, fast generator with a fixed seed, so that every run lays out the
// same annotations on every standard library.
class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t Next();
    // Uniform enough in [0, n) for n far below 2^32.
    uint32_t Below(uint32_t n) { return static_cast<uint32_t>(Next() % n); }

private:
    uint64_t state_;
};

// Which kinds an annotation set holds.
enum class Mix : int64_t {
    // Hilites (half), icons (a fifth), hidden text within one paragraph.
    kDisplay = 0,
    // The same, with a tenth of them inserted text (1-8 characters) and
    // inserted paragraph breaks instead.
    kWithInserted = 1,
};

// The order in which a set is added: by start, shuffled, or by start from
// the last one back. The last is much the cheapest: a hide-text add asks of
// each character it covers whether it is hidden already, walking the list
// from its head to the first annotation that starts after the character.
enum class Order : int64_t { kDocument = 0, kRandom = 1, kReverse = 2 };

// One annotation to add: enough to fill the caller structure of its kind.
struct PlannedAnno {
    uint16_t kind;
    uint32_t userId;
    AnnoPos start;
    AnnoPos end;       // hilites and hidden text
    uint32_t textLen;  // inserted text
};

// Every other annotation of a set, in document order, has this userId bit.
constexpr uint32_t kEveryOtherBit = 0x1u;

// `count` annotations anchored over `positions` (every document position in
// reading order), the same for the same arguments; none starts at the first
// position, so a pass from there meets all inserted text. In the order
// asked for; userIds count up in document order.
std::vector<PlannedAnno> MakeAnnos(const std::vector<AnnoPos>& positions, size_t count, Mix mix, Order order);

// `count` document positions drawn at random from `positions`, the same for
// the same seed: where the position queries ask.
std::vector<AnnoPos> RandomPositions(const std::vector<AnnoPos>& positions, size_t count, uint64_t seed);

// ANAddAnno of one planned annotation, in its kind's full caller
// structure; the result.
uint32_t AddAnno(uint32_t hDoc, const PlannedAnno& anno);

// Adds them all in the order given: 0, or the first failing result.
uint32_t AddAnnos(uint32_t hDoc, const std::vector<PlannedAnno>& annos);

// The large document, opened on first use and shared by every benchmark of
// the process; closed at exit.
class LargeDocument {
public:
    static LargeDocument& Get();

    uint32_t handle() const { return hDoc_; }
    // Every document position in reading order, from (0, 0, 0, 0), as
    // ANNextChunkerPos gives them: characters and paragraph ends.
    const std::vector<AnnoPos>& positions() const { return positions_; }
    // The index in positions() of each character, by ACC.
    const std::vector<uint32_t>& characters() const { return characters_; }

    // Makes the document's annotation state hold exactly the set
    // MakeAnnos(positions(), count, mix, ...), keeping the state that is
    // attached when it already holds that set (a benchmark function is run
    // several times while the library settles its iteration count). The set
    // is added in reverse document order: the same annotations in the same
    // start order as adding them by start, at a tenth of the cost or less.
    // 0, or the first failing result (the state is then taken down).
    uint32_t AttachWith(Mix mix, size_t count);
    // Whether the attached state holds that set (AttachWith would keep it).
    bool Holds(Mix mix, size_t count) const {
        return attached_ && count == attachedCount_ && (count == 0 || mix == attachedMix_);
    }

    // Takes the state down, for benchmarks that attach and fill their own.
    void Detach();

    ~LargeDocument();
    LargeDocument(const LargeDocument&) = delete;
    LargeDocument& operator=(const LargeDocument&) = delete;

private:
    LargeDocument();

    uint32_t hDoc_ = 0;
    std::vector<AnnoPos> positions_;
    std::vector<uint32_t> characters_;
    bool attached_ = false;
    Mix attachedMix_ = Mix::kDisplay;
    size_t attachedCount_ = 0;
};

// Another document with the large document's text and numbering, whose
// state holds one annotation set (added in reverse document order): a source
// for ANCopyAnnos, which stores nodes as they are without running the kind
// builders, and so refills a list far faster than adding its annotations
// again. Taken down and closed when it goes.
class SourceDocument {
public:
    SourceDocument(Mix mix, size_t count);
    ~SourceDocument();
    SourceDocument(const SourceDocument&) = delete;
    SourceDocument& operator=(const SourceDocument&) = delete;

    uint32_t handle() const { return hDoc_; }
    // 0, or the result of the first call that failed while making it.
    uint32_t result() const { return result_; }

private:
    uint32_t hDoc_ = 0;
    uint32_t result_ = 0;
};

// A counter that reports the time of one unit (a position, an add, a
// mapping): `units` per iteration. Shown in seconds with a decimal prefix
// (n: nanoseconds, u: microseconds, m: milliseconds).
inline benchmark::Counter TimePer(double units) {
    return benchmark::Counter(units, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// Stops the benchmark with the failing call's name and result.
void Fail(benchmark::State& state, const char* call, uint32_t result);

}  // namespace bench

#endif
