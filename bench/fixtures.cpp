// The benchmarks' shared document, annotation sets and adds: see fixtures.h.
#include "fixtures.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <utility>

#include "engine/engine.h"

namespace bench {

namespace {

constexpr uint32_t kWhole = 0xFFFFFFFF;

// What inserted text reads: up to 8 characters of it.
constexpr char16_t kInsertedText[] = u"inserted";

// The longest hilite, in positions, and the longest hidden text, in
// characters.
constexpr uint32_t kMaxHiliteLength = 200;
constexpr uint32_t kMaxHideLength = 50;

[[noreturn]] void Abort(const char* what, uint32_t result) {
    std::fprintf(stderr, "benchmark fixture: %s failed with %u\n", what, result);
    std::abort();
}

bool IsParagraphEnd(const AnnoPos& pos) { return pos.subItemId == kWhole; }

// The seed of a set: fixed, different for each size and mix.
uint64_t SeedOf(size_t count, Mix mix) {
    return 0x9E3779B97F4A7C15ull ^ (static_cast<uint64_t>(count) << 8) ^ static_cast<uint64_t>(mix);
}

}  // namespace

std::string LinesDescription(uint32_t lines, uint32_t length) {
    static constexpr char kLetters[] = "abcdefghijklmnopqrstuvwxyz ABCDEFGHIJKLMNOPQRSTUVWXYZ 0123456789.,";
    constexpr uint32_t kLetterCount = sizeof kLetters - 1;
    std::string description;
    description.reserve(static_cast<size_t>(lines) * (length + 1));
    for (uint32_t line = 0; line < lines; ++line) {
        for (uint32_t i = 0; i < length; ++i) description += kLetters[(line * 7 + i) % kLetterCount];
        description += '\n';
    }
    return description;
}

uint64_t Random::Next() {
    // splitmix64
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
}

std::vector<PlannedAnno> MakeAnnos(const std::vector<AnnoPos>& positions, size_t count, Mix mix, Order order) {
    const auto n = static_cast<uint32_t>(positions.size());
    Random random(SeedOf(count, mix));
    // Each with the index of its start, to sort by.
    std::vector<std::pair<uint32_t, PlannedAnno>> made;
    made.reserve(count);
    for (size_t i = 0; i < count; ++i) {
        // Kind: of 20 draws, 10 hilites, 4 icons, 6 hidden texts; with
        // inserted text, draws 0 and 1 insert text or a paragraph break.
        const uint32_t draw = random.Below(20);
        uint32_t s = 1 + random.Below(n - 2);
        PlannedAnno anno{ANNO_HILITETEXT, 0, positions[s], positions[s], 0};
        if (mix == Mix::kWithInserted && draw == 0) {
            anno.kind = ANNO_INSERTTEXT;
            anno.textLen = 1 + random.Below(8);
        } else if (mix == Mix::kWithInserted && draw == 1) {
            anno.kind = ANNO_INSERTPARABREAK;
        } else if (draw < 10) {
            const uint32_t e = std::min(s + 1 + random.Below(kMaxHiliteLength), n - 1);
            anno.end = positions[e];
        } else if (draw < 14) {
            anno.kind = ANNO_INSERTICON;
        } else {
            // Hidden text stays within its paragraph: from a character to at
            // most the paragraph's end, which it does not hide.
            anno.kind = ANNO_HIDETEXT;
            if (IsParagraphEnd(positions[s])) --s;
            uint32_t paragraphEnd = s + 1;
            while (!IsParagraphEnd(positions[paragraphEnd])) ++paragraphEnd;
            const uint32_t e = std::min(s + 1 + random.Below(kMaxHideLength), paragraphEnd);
            anno.start = positions[s];
            anno.end = positions[e];
        }
        made.emplace_back(s, anno);
    }
    std::stable_sort(made.begin(), made.end(),
                     [](const auto& a, const auto& b) { return a.first < b.first; });
    std::vector<PlannedAnno> annos;
    annos.reserve(count);
    for (size_t k = 0; k < made.size(); ++k) {
        PlannedAnno anno = made[k].second;
        anno.userId = static_cast<uint32_t>((k + 1) << 1) | static_cast<uint32_t>(k & 1 ? kEveryOtherBit : 0);
        annos.push_back(anno);
    }
    if (order == Order::kReverse) std::reverse(annos.begin(), annos.end());
    if (order == Order::kRandom) {
        Random shuffle(SeedOf(count, mix) + 1);
        for (size_t k = annos.size(); k > 1; --k) {
            std::swap(annos[k - 1], annos[shuffle.Below(static_cast<uint32_t>(k))]);
        }
    }
    return annos;
}

std::vector<AnnoPos> RandomPositions(const std::vector<AnnoPos>& positions, size_t count, uint64_t seed) {
    Random random(seed);
    std::vector<AnnoPos> drawn(count);
    for (AnnoPos& pos : drawn) pos = positions[random.Below(static_cast<uint32_t>(positions.size()))];
    return drawn;
}

uint32_t AddAnno(uint32_t hDoc, const PlannedAnno& anno) {
    switch (anno.kind) {
        case ANNO_HILITETEXT: {
            const HiliteTextAnno hilite{sizeof(HiliteTextAnno), anno.userId, anno.start, anno.end, 0, 0, 0, 0, 0x12};
            return ANAddAnno(hDoc, ANNO_HILITETEXT, &hilite);
        }
        case ANNO_INSERTICON: {
            const InsertIconAnno icon{sizeof(InsertIconAnno), anno.userId, anno.start, anno.start, 0, 0, 0, 0, 7};
            return ANAddAnno(hDoc, ANNO_INSERTICON, &icon);
        }
        case ANNO_HIDETEXT: {
            const HideTextAnno hide{sizeof(HideTextAnno), anno.userId, anno.start, anno.end, 0};
            return ANAddAnno(hDoc, ANNO_HIDETEXT, &hide);
        }
        case ANNO_INSERTTEXT: {
            const InsertTextAnno text{sizeof(InsertTextAnno), anno.userId, anno.start, 0, kInsertedText, anno.textLen};
            return ANAddAnno(hDoc, ANNO_INSERTTEXT, &text);
        }
        default: {
            const ParaBreakAnno paraBreak{sizeof(ParaBreakAnno), anno.userId, anno.start, 0};
            return ANAddAnno(hDoc, anno.kind, &paraBreak);
        }
    }
}

uint32_t AddAnnos(uint32_t hDoc, const std::vector<PlannedAnno>& annos) {
    for (const PlannedAnno& anno : annos) {
        if (const uint32_t result = AddAnno(hDoc, anno); result != 0) return result;
    }
    return 0;
}

LargeDocument& LargeDocument::Get() {
    static LargeDocument document;
    return document;
}

LargeDocument::LargeDocument() {
    const std::string description = LinesDescription(kLines, kLineLength);
    if (const uint32_t result =
            ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()), 0, &hDoc_);
        result != 0) {
        Abort("ENOpenDocument", result);
    }
    // Stepping needs the state, not annotations.
    if (const uint32_t result = ANInit(hDoc_, 0, nullptr, 0); result != 0) Abort("ANInit", result);
    positions_.reserve(static_cast<size_t>(kLines) * (kLineLength + 1));
    characters_.reserve(static_cast<size_t>(kLines) * kLineLength);
    AnnoPos pos{0, 0, 0, 0};
    AnnoPos next{};
    for (;;) {
        if (!IsParagraphEnd(pos)) characters_.push_back(static_cast<uint32_t>(positions_.size()));
        positions_.push_back(pos);
        if (ANNextChunkerPos(hDoc_, &pos, &next) != 0) break;
        pos = next;
    }
    ANDeInit(hDoc_);
    if (characters_.size() != static_cast<size_t>(kLines) * kLineLength) {
        Abort("walking the document's characters", static_cast<uint32_t>(characters_.size()));
    }
}

LargeDocument::~LargeDocument() {
    Detach();
    ENCloseDocument(hDoc_);
}

uint32_t LargeDocument::AttachWith(Mix mix, size_t count) {
    if (Holds(mix, count)) return 0;
    Detach();
    if (const uint32_t result = ANInit(hDoc_, 0, nullptr, 0); result != 0) return result;
    attached_ = true;
    attachedMix_ = mix;
    attachedCount_ = count;
    if (const uint32_t result = AddAnnos(hDoc_, MakeAnnos(positions_, count, mix, Order::kReverse)); result != 0) {
        Detach();
        return result;
    }
    return 0;
}

void LargeDocument::Detach() {
    if (attached_) ANDeInit(hDoc_);
    attached_ = false;
}

SourceDocument::SourceDocument(Mix mix, size_t count) {
    const std::string description = LinesDescription(kLines, kLineLength);
    result_ = ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()), 0, &hDoc_);
    if (result_ == 0) result_ = ANInit(hDoc_, 0, nullptr, 0);
    if (result_ == 0) {
        result_ = AddAnnos(hDoc_, MakeAnnos(LargeDocument::Get().positions(), count, mix, Order::kReverse));
    }
}

SourceDocument::~SourceDocument() {
    if (hDoc_ == 0) return;
    ANDeInit(hDoc_);
    ENCloseDocument(hDoc_);
}

void Fail(benchmark::State& state, const char* call, uint32_t result) {
    const std::string message = std::string(call) + " failed with " + std::to_string(result);
    state.SkipWithError(message.c_str());
}

}  // namespace bench
