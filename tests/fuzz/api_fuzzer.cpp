// A libFuzzer target: the input is read as a sequence of calls of the
// module's exported functions on two stand-in documents, with valid and
// invalid arguments, sizes, handles and positions, and with allocation,
// heap and platform-call failures injected before a call. After every call:
// the result is one the function may give, both annotation lists are sound,
// no block is locked, what the call did to each list is what the reference
// model allows (model_checks.h), and the module's queries on a list that
// changed answer as the model's brute-force reading does. At the end of an
// input everything is taken down and nothing may be left allocated or open,
// and no handle may have been misused.
//
// Each input runs twice: first with every question walking the annotation
// list (the list index switched off), then with the index answering and its
// heap refusing memory where the input says. The index must change nothing a
// caller sees, so the second run must record, call by call, the trace of the
// first (support/api_trace.h: results, filled records, what the callback
// heard and both list blocks byte for byte). The model checks run in the
// second run only: they judge the index's answers, and through the
// comparison the list walks' too. The other failures are injected alike in
// both runs. They are counted by allocation and by platform call, so they
// land on the same step of a call in both runs only while the index neither
// allocates movable blocks nor makes platform calls of its own: it lives in
// heap memory and reads the list under the lock the call already holds.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/heap.h"
#include "annotation/index/list_index.h"
#include "annotation/store/doc_state.h"
#include "engine/engine.h"
#include "model_checks.h"
#include "support/api_trace.h"
#include "support/list_invariants.h"

namespace {

constexpr uint32_t kInjected = 0x5A5;  // the code an injected platform failure gives
constexpr uint32_t kCallbackAnswer = 0x77;

const char* const kDocuments[2] = {
    "Hello {mark 0x81000000}world{/mark 0x81000000} of text\nSecond{item 8} line{item 240} here\n"
    "{undelivered}hid{/undelivered}den {region 0x100000}r{/region 0x100000}\n{chunk}Chunk two {mark 0x82000000}a\n"
    "{section}Third{/mark 0x82000000} part\n\n",
    "Other document\n{mark 0x84000010}x{/mark 0x84000010}y{item 241}z\n",
};

const char* const kFailingCalls[] = {"DAGetAnno", "DALockModuleData", "DAOpenDocument", "DASetOption",
                                     "CAOpenContent", "CHGetItem", "CHNextItemId", "CHGetItemId",
                                     "CHGetItemCount", "CHGetRunInfo", "SYSNativeLock"};

// Reads the input as numbers; past its end every read gives 0.
class Input {
public:
    Input(const uint8_t* data, size_t size) : data_(data), size_(size) {}
    bool More() const { return at_ < size_; }
    uint8_t Byte() { return at_ < size_ ? data_[at_++] : 0; }
    uint32_t Word() {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = (value << 8) | Byte();
        return value;
    }
    uint32_t Below(uint32_t bound) { return bound == 0 ? 0 : Byte() % bound; }

private:
    const uint8_t* data_;
    size_t size_;
    size_t at_ = 0;
};

[[noreturn]] void Fail(const char* what, uint32_t value) {
    std::fprintf(stderr, "api_fuzzer: %s (%u)\n", what, value);
    std::abort();
}

void Expect(bool holds, const char* what, uint32_t value = 0) {
    if (!holds) Fail(what, value);
}

void ExpectOneOf(uint32_t result, std::initializer_list<uint32_t> allowed, const char* call) {
    for (uint32_t a : allowed) {
        if (result == a) return;
    }
    Fail(call, result);
}

// The removals the callback heard of since the last step.
std::vector<fuzz_model::Reported> gReported;

// The run under way: its trace, and whether the list index answers.
testing_support::ApiTrace* gTrace = nullptr;
bool gIndexed = false;

// Records a result in the trace and hands it on.
uint32_t Seen(const char* call, uint32_t result) {
    gTrace->Word(call, result);
    return result;
}

uint32_t CallbackAnswer(uint32_t code, uint32_t arg, void* record, uint32_t callbackData) {
    gTrace->Callback(code, arg, record);
    if (code == 2 && record != nullptr) {
        gReported.push_back({static_cast<uint16_t>(arg), *static_cast<const InternalAnno*>(record)});
    }
    return callbackData;
}

struct World {
    uint32_t docs[2] = {};
    uint32_t hStyles = 0;
    std::vector<AnnoPos> positions[2];  // every document position of each, in order
    bool positionsComplete[2] = {};      // whether they run to the document's end

    AnnoPos Position(Input& in, uint32_t doc) {
        const uint8_t how = in.Byte();
        const std::vector<AnnoPos>& known = positions[doc];
        if (how < 200 && !known.empty()) {
            AnnoPos pos = known[in.Word() % known.size()];
            if (how % 4 == 0) pos = AnnoPos{pos.itemId, pos.subItemId, ANPOS_ANNOTEXT, in.Below(6)};
            return pos;
        }
        return AnnoPos{in.Word(), in.Word(), how % 2 == 0 ? ANPOS_ANNOTEXT : in.Word(), in.Word()};
    }
    bool heard[2] = {true, true};  // whether each document's callback records removals

    // The document a handle names, or 2 for none.
    uint32_t DocOf(uint32_t hDoc) const { return hDoc == docs[0] ? 0 : hDoc == docs[1] ? 1 : 2; }

    uint32_t Handle(Input& in, uint32_t doc) {
        const uint8_t how = in.Byte();
        if (how < 240) return docs[doc];
        if (how % 2 == 0) return 0;
        // A made-up handle. Each run opens its documents afresh, under new
        // numbers, so a word that names a document in one run would name
        // nothing in the other: it is kept off this run's documents.
        const uint32_t word = in.Word();
        return DocOf(word) == 2 ? word : ~word;
    }
};

void CollectPositions(World& world, uint32_t doc) {
    AnnoPos pos{0, 0, 0, 0};
    for (int i = 0; i < 400; ++i) {
        world.positions[doc].push_back(pos);
        AnnoPos next{};  // a record of its own: the step clears it before reading pos
        if (ANNextChunkerPos(world.docs[doc], &pos, &next) != 0) {
            world.positionsComplete[doc] = true;
            break;
        }
        pos = next;
    }
}

// Arms one failure for the next call, as the input says.
void ArmFailure(Input& in) {
    const uint8_t which = in.Byte();
    if (which < 200) {
        // The index's heap fails in the indexed run only, on bytes that
        // arm nothing else.
        if (gIndexed && which >= 150) annotation::SetIndexHeapFailAfter(which % 8);
        return;
    }
    const auto count = static_cast<int32_t>(in.Below(8));
    if (which < 220) {
        ENFailAllocAfter(count);
    } else if (which < 240) {
        annotation::SetHeapFailAfter(count);
    } else {
        ENFailCallAfter(kFailingCalls[in.Below(sizeof kFailingCalls / sizeof *kFailingCalls)], count, kInjected);
    }
}

void Disarm() {
    ENFailAllocAfter(-1);
    ENFailCallAfter(nullptr, -1, 0);
    annotation::SetHeapFailAfter(-1);
    annotation::SetIndexHeapFailAfter(-1);
}

// What a step may have done to a list, for the model to judge.
struct Outcome {
    enum What { kNothing, kAdd, kClear, kCopy, kTakeDown };
    Outcome() = default;
    Outcome(What changing, uint32_t changed) : what(changing), doc(changed) {}
    What what = kNothing;
    uint32_t doc = 2;  // the document changed (2: none)
    fuzz_model::AddRequest add;
    uint32_t result = 0;
    uint16_t flags = 0;  // of a removal
    uint32_t value = 0;
};

Outcome AddOne(World& world, Input& in, uint32_t doc) {
    const uint32_t hDoc = world.Handle(in, doc);
    const uint8_t kind = in.Byte() % 9;  // 0 and 8 are no kind
    HiliteTextAnno r{};
    r.size = sizeof r;
    r.userId = in.Word();
    r.start = world.Position(in, doc);
    r.end = world.Position(in, doc);
    r.eventMask = in.Word();
    r.displayData = in.Word();
    uint32_t result = 0;
    Outcome outcome(Outcome::kAdd, world.DocOf(hDoc));
    outcome.add = {kind, r.userId, r.start, {}};
    if (kind == ANNO_HIDETEXT) {
        HideTextAnno h{44, r.userId, r.start, r.end, 0};
        if (in.Byte() > 240) h.size = in.Word();
        result = ANAddAnno(hDoc, kind, &h);
    } else if (kind == ANNO_INSERTTEXT) {
        const std::u16string text(in.Below(80), static_cast<char16_t>(u'a' + in.Below(26)));
        outcome.add.text = text;
        InsertTextAnno t{};
        t.size = sizeof t;
        t.userId = r.userId;
        t.start = r.start;
        t.text = text.data();
        t.textLen = static_cast<uint32_t>(text.size());
        if (in.Byte() > 240) t.size = in.Word();
        result = ANAddAnno(hDoc, kind, &t);
    } else if (kind == ANNO_INSERTPARABREAK || kind == ANNO_HIDEPARABREAK) {
        ParaBreakAnno b{28, r.userId, r.start, 0};
        result = ANAddAnno(hDoc, kind, &b);
    } else {
        if (in.Byte() > 240) r.size = in.Word() % 80;  // other sizes, within the record
        result = ANAddAnno(hDoc, kind, &r);
    }
    ExpectOneOf(Seen("ANAddAnno", result), {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected},
                "ANAddAnno");
    outcome.result = result;
    return outcome;
}

void Walk(World& world, Input& in, uint32_t doc) {
    const uint32_t hDoc = world.Handle(in, doc);
    AnnoPos pos = world.Position(in, doc);
    AnnoTrackInfo track{};
    AnnoTextTrack text{};
    ExpectOneOf(Seen("ANStartAnnoTextTrack", ANStartAnnoTextTrack(hDoc, &text)), {0, ANERR_NOMEMORY},
                "ANStartAnnoTextTrack");
    gTrace->TextTrack("the AnnoTextTrack after ANStartAnnoTextTrack", text);
    ExpectOneOf(Seen("ANStartAnnoTrack", ANStartAnnoTrack(hDoc, &pos, &track)), {0, 1, 2}, "ANStartAnnoTrack");
    gTrace->Track("the AnnoTrackInfo after ANStartAnnoTrack", track);
    for (uint32_t steps = in.Below(64); steps > 0; --steps) {
        Expect(Seen("ANTrackAnno", ANTrackAnno(hDoc, &pos, &track)) <= 0x3F, "ANTrackAnno bits");
        gTrace->Track("the AnnoTrackInfo after ANTrackAnno", track);
        uint16_t c = 0;
        ExpectOneOf(Seen("ANGetAnnoText", ANGetAnnoText(hDoc, &text, &pos, &c)),
                    {ANNO_INSERTTEXT, ANNO_INSERTPARABREAK, ANERR_NOTFOUND, ANERR_NOMEMORY, ANERR_BADPARAM,
                     ANERR_NOANNODATA, kInjected},
                    "ANGetAnnoText");
        gTrace->Word("the character ANGetAnnoText gave", c);
        gTrace->TextTrack("the AnnoTextTrack after ANGetAnnoText", text);
        AnnoPos next{};
        const uint32_t stepped = Seen("ANNextPos", ANNextPos(hDoc, &pos, &next));
        gTrace->Pos("the position ANNextPos gave", next);
        ExpectOneOf(stepped, {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANNextPos");
        if (stepped != 0) break;
        if (ANCompPos(&pos, &next) >= 0) {
            std::fprintf(stderr, "ANNextPos from (%u %u %u %u) to (%u %u %u %u)\n", pos.itemId, pos.subItemId, pos.posType,
                         pos.textOffset, next.itemId, next.subItemId, next.posType, next.textOffset);
            Fail("ANNextPos went back", 0);
        }
        pos = next;
    }
    Seen("ANEndAnnoTrack", ANEndAnnoTrack(hDoc, &track));
    gTrace->Track("the AnnoTrackInfo after ANEndAnnoTrack", track);
    Seen("ANEndAnnoTextTrack", ANEndAnnoTextTrack(hDoc, &text));
    gTrace->TextTrack("the AnnoTextTrack after ANEndAnnoTextTrack", text);
}

void Query(World& world, Input& in, uint32_t doc, uint8_t what) {
    const uint32_t hDoc = world.Handle(in, doc);
    if (what == 0) {
        AnnoFindInfo info{};
        info.size = in.Byte() > 240 ? in.Word() : 68;
        info.searchFlags = in.Word();
        info.matchId = in.Word();
        info.pos = world.Position(in, doc);
        info.foundEnd = world.Position(in, doc);
        ExpectOneOf(Seen("ANFindAnno", ANFindAnno(hDoc, static_cast<uint16_t>(in.Word()), &info)),
                    {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANFindAnno");
        gTrace->Bytes("the filled AnnoFindInfo", &info, sizeof info);
    } else if (what == 1) {
        AnnoMapPosition request{in.Byte() > 240 ? in.Word() : 28, in.Below(5), world.Position(in, doc), in.Below(300)};
        ExpectOneOf(Seen("ANMapPosition", ANMapPosition(hDoc, &request)),
                    {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, ANERR_NOTFOUND, kInjected}, "ANMapPosition");
        gTrace->Bytes("the filled AnnoMapPosition", &request, sizeof request);
    } else if (what == 2) {
        const AnnoPos pos = world.Position(in, doc);
        const uint32_t event = in.Byte() % 40;
        const auto startNode = static_cast<uint16_t>(in.Byte() > 200 ? in.Word() : in.Below(24));
        ExpectOneOf(Seen("ANAnnoEvent", ANAnnoEvent(hDoc, event, startNode, &pos)), {0, kCallbackAnswer},
                    "ANAnnoEvent");
    } else {
        AnnoPos pos = world.Position(in, doc), next{};
        ExpectOneOf(Seen("ANNextAnnoTextPos", ANNextAnnoTextPos(hDoc, &pos, &next)),
                    {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANNextAnnoTextPos");
        gTrace->Pos("the position ANNextAnnoTextPos gave", next);
        ExpectOneOf(Seen("ANNextChunkerPos", ANNextChunkerPos(hDoc, &pos, &next)),
                    {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANNextChunkerPos");
        gTrace->Pos("the position ANNextChunkerPos gave", next);
    }
}

void Styles(World& world, Input& in, uint32_t doc) {
    HiliteStyle style{in.Byte() > 220 ? 24u : 28u, in.Below(12), in.Below(8), in.Word(), in.Word(), 0, 0, 0};
    if (in.Byte() > 240) style.size = in.Word();
    const uint32_t hDoc = world.Handle(in, doc);
    if (in.Byte() % 2 == 0) {
        ExpectOneOf(Seen("ANAddHiliteStyle", ANAddHiliteStyle(hDoc, &style)),
                    {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANAddHiliteStyle");
    } else {
        ExpectOneOf(Seen("ANAddGlobalHiliteStyle", ANAddGlobalHiliteStyle(world.hStyles, &style)),
                    {0, ANERR_NOMEMORY, ANERR_BADPARAM}, "ANAddGlobalHiliteStyle");
    }
    HiliteStyle read{};
    ExpectOneOf(Seen("ANGetHiliteStyle", ANGetHiliteStyle(hDoc, in.Below(12), &read)), {0, 1}, "ANGetHiliteStyle");
    gTrace->Bytes("the HiliteStyle ANGetHiliteStyle filled", &read, sizeof read);
}

// One call, as the input's next bytes say.
Outcome Call(World& world, Input& in, uint32_t doc, uint8_t op) {
    switch (op) {
        case 0:
        case 1:
        case 2: return AddOne(world, in, doc);
        case 3: {
            const uint32_t hDoc = world.Handle(in, doc);
            Outcome outcome{Outcome::kClear, world.DocOf(hDoc)};
            outcome.flags = static_cast<uint16_t>(in.Byte() << 8);
            outcome.value = in.Byte() > 128 ? in.Word() : in.Below(4);
            ExpectOneOf(Seen("ANClearAnnos", ANClearAnnos(hDoc, outcome.flags, outcome.value)),
                        {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected, kCallbackAnswer}, "ANClearAnnos");
            return outcome;
        }
        case 4: {
            const uint32_t hDest = world.Handle(in, doc);
            ExpectOneOf(Seen("ANCopyAnnos", ANCopyAnnos(hDest, world.Handle(in, in.Byte() % 2))),
                        {0, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANCopyAnnos");
            return Outcome{Outcome::kCopy, world.DocOf(hDest)};
        }
        case 5: {
            const uint32_t hDoc = world.Handle(in, doc);
            ExpectOneOf(Seen("ANBuildAnnos", ANBuildAnnos(hDoc)), {0, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected},
                        "ANBuildAnnos");
            return Outcome{Outcome::kCopy, world.DocOf(hDoc)};
        }
        case 6: Walk(world, in, doc); break;
        case 7:
        case 8: Query(world, in, doc, in.Byte() % 4); break;
        case 9: Styles(world, in, doc); break;
        case 10: {
            const bool set = in.Byte() % 2 == 0;
            const uint32_t result =
                Seen("ANSetCallback", ANSetCallback(world.docs[doc], set ? &CallbackAnswer : nullptr, kCallbackAnswer));
            ExpectOneOf(result, {0, ANERR_NOANNODATA, kInjected}, "ANSetCallback");
            if (result == 0) world.heard[doc] = set;
            break;
        }
        default: {
            // The state taken down and attached again. ANInit replaces a
            // state without freeing it, so it runs only on a document that
            // has none: a take-down that failed (or could not lock the state
            // and kept it attached) leaves the state in place.
            ExpectOneOf(Seen("ANDeInit", ANDeInit(world.docs[doc])), {0, ANERR_NOMEMORY, kInjected}, "ANDeInit");
            Disarm();
            uint32_t hState = 0;
            if (annotation::GetAnnoFromDoc(world.docs[doc], &hState) == ANERR_NOANNODATA) {
                ArmFailure(in);
                const uint32_t result =
                    Seen("ANInit", ANInit(world.docs[doc], world.hStyles, &CallbackAnswer, kCallbackAnswer));
                ExpectOneOf(result, {0, ANERR_NOMEMORY, kInjected}, "ANInit");
                if (result == 0) world.heard[doc] = true;
            }
            return Outcome{Outcome::kTakeDown, doc};
        }
    }
    return Outcome{};
}

// What the step did to document `doc`'s list, from `before` to `after`,
// against what the model allows.
::testing::AssertionResult ChangeAgrees(const World& world, const Outcome& outcome, uint32_t doc,
                                        const fuzz_model::Nodes& before, const fuzz_model::Nodes& after) {
    if (outcome.doc != doc) return fuzz_model::Unchanged(before, after);
    switch (outcome.what) {
        case Outcome::kAdd: return fuzz_model::AddAgrees(before, after, outcome.add, outcome.result);
        case Outcome::kClear:
            return fuzz_model::ClearAgrees(before, after, outcome.flags, outcome.value, gReported, world.heard[doc]);
        case Outcome::kCopy: return fuzz_model::Kept(before, after);
        case Outcome::kTakeDown:
            if (after.empty()) return ::testing::AssertionSuccess();
            return fuzz_model::Unchanged(before, after);
        default: return fuzz_model::Unchanged(before, after);
    }
}

// With API_FUZZER_TRACE set, a failed check also prints the lists.
void Check(const char* what, const ::testing::AssertionResult& result, uint8_t op, const fuzz_model::Nodes& before,
           const fuzz_model::Nodes& after) {
    if (result) return;
    std::fprintf(stderr, "after call %u: %s\n", static_cast<unsigned>(op), result.message());
    if (std::getenv("API_FUZZER_TRACE") != nullptr) {
        for (const fuzz_model::Nodes* nodes : {&before, &after}) {
            std::fprintf(stderr, nodes == &before ? "before:\n" : "after:\n");
            for (const testing_support::ListedNode& n : *nodes) {
                const InternalAnno& a = n.anno;
                std::fprintf(stderr, "  slot %u kind %u id %u [%u %u %u %u]-[%u %u %u %u] len %u\n", n.slot, n.kind, a.userId,
                             a.start.itemId, a.start.subItemId, a.start.posType, a.start.textOffset, a.end.itemId,
                             a.end.subItemId, a.end.posType, a.end.textOffset, a.textLen);
            }
        }
    }
    Fail(what, 0);
}

const char* const kCallNames[12] = {"an add", "an add", "an add", "ANClearAnnos", "ANCopyAnnos", "ANBuildAnnos",
                                    "a walk", "a query", "a query", "hilite styles", "ANSetCallback",
                                    "ANDeInit and ANInit"};

// One call, as the input's next bytes say, and the checks after it.
void Step(World& world, Input& in, int stepNumber) {
    const uint32_t doc = in.Byte() % 2;
    const uint8_t op = in.Byte() % 12;
    gTrace->BeginCall(kCallNames[op]);
    fuzz_model::Nodes before[2];
    if (gIndexed) {
        for (uint32_t d = 0; d < 2; ++d) before[d] = testing_support::ListedNodes(world.docs[d]);
    }
    gReported.clear();
    ArmFailure(in);
    const Outcome outcome = Call(world, in, doc, op);
    Disarm();
    if (std::getenv("API_FUZZER_TRACE") != nullptr) {
        std::fprintf(stderr, "doc %u op %u: %u blocks live\n", doc, static_cast<unsigned>(op), ENMemLiveBlocks());
    }
    Expect(ENMemLockedBlocks() == 0, "a block was left locked", ENMemLockedBlocks());
    Expect(ENModuleDataLocked() == 0, "module data was left locked");
    gTrace->ListBlock("the list block of document 0", world.docs[0]);
    gTrace->ListBlock("the list block of document 1", world.docs[1]);
    if (!gTrace->difference().empty()) {
        std::fprintf(stderr, "api_fuzzer: with the list index, %s\n", gTrace->difference().c_str());
        Fail("the runs with and without the list index differ at call", static_cast<uint32_t>(stepNumber) + 1);
    }
    if (!gIndexed) return;
    for (uint32_t d = 0; d < 2; ++d) {
        Check("list unsound", testing_support::ListIsSound(world.docs[d]), op, before[d], before[d]);
        const fuzz_model::Nodes after = testing_support::ListedNodes(world.docs[d]);
        const ::testing::AssertionResult same = fuzz_model::Unchanged(before[d], after);
        if (!same) Check("the model does not allow the change", ChangeAgrees(world, outcome, d, before[d], after), op, before[d], after);
        // The queries are asked after every change, and now and then anyway:
        // the styles and the callback they may meet change without the list.
        if (!same || stepNumber % 16 == 0) {
            Check("a query disagrees with the model",
                  fuzz_model::QueriesAgree(world.docs[d], after, world.positions[d], world.positionsComplete[d]), op,
                  before[d], after);
            Expect(ENMemLockedBlocks() == 0, "a query left a block locked", ENMemLockedBlocks());
        }
    }
}

// One run of the input, with the list index answering or not.
void RunInput(const uint8_t* data, size_t size, bool indexed, testing_support::ApiTrace& runTrace) {
    annotation::SetListIndexEnabled(indexed);
    gIndexed = indexed;
    gTrace = &runTrace;
    ENMemSetStrict(1);
    Disarm();
    const uint32_t liveAtStart = ENMemLiveBlocks();
    const uint32_t misuseAtStart = ENMemMisuse();
    World world;
    Expect(ANInitGlobalHiliteStyles(&world.hStyles) == 0, "ANInitGlobalHiliteStyles");
    for (uint32_t doc = 0; doc < 2; ++doc) {
        const std::string description = kDocuments[doc];
        Expect(ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()), 0, &world.docs[doc]) == 0,
               "ENOpenDocument");
        Expect(ANInit(world.docs[doc], world.hStyles, &CallbackAnswer, kCallbackAnswer) == 0, "ANInit");
        CollectPositions(world, doc);
    }
    Input in(data, size);
    for (int steps = 0; in.More() && steps < 200; ++steps) Step(world, in, steps);

    const bool trace = std::getenv("API_FUZZER_TRACE") != nullptr;
    for (uint32_t hDoc : world.docs) {
        ExpectOneOf(ANDeInit(hDoc), {0}, "final ANDeInit");
        ENCloseDocument(hDoc);
        if (trace) std::fprintf(stderr, "closed: %u blocks live\n", ENMemLiveBlocks());
    }
    ANDeInitGlobalHiliteStyles(world.hStyles);
    if (trace) std::fprintf(stderr, "styles gone: %u blocks live\n", ENMemLiveBlocks());
    Expect(ENOpenSecondDocs() == 0 && ENOpenContents() == 0, "a second opening was left open");
    Expect(ENMemMisuse() == misuseAtStart, "a handle was misused", ENMemMisuse() - misuseAtStart);
    Expect(ENMemLiveBlocks() == liveAtStart, "blocks leaked", ENMemLiveBlocks() - liveAtStart);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    // With API_FUZZER_TRACE set, a difference names the byte, not only the
    // record.
    const bool keepBytes = std::getenv("API_FUZZER_TRACE") != nullptr;
    testing_support::ApiTrace walks(nullptr, keepBytes);
    RunInput(data, size, false, walks);
    testing_support::ApiTrace indexed(&walks, keepBytes);
    RunInput(data, size, true, indexed);
    if (!indexed.Finish().empty()) {
        std::fprintf(stderr, "api_fuzzer: with the list index, %s\n", indexed.difference().c_str());
        Fail("the runs with and without the list index differ", 0);
    }
    gTrace = nullptr;
    return 0;
}
