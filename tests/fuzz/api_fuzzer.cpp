// A libFuzzer target: the input is read as a sequence of calls of the
// module's exported functions on two stand-in documents, with valid and
// invalid arguments, sizes, handles and positions, and with allocation,
// heap and platform-call failures injected before a call. After every call:
// the result is one the function may give, both annotation lists are sound,
// no block is locked and no handle was misused. At the end of an input
// everything is taken down and nothing may be left allocated or open.
//
// What is compared is invariants, not the answers of a model: the merging of
// hidden ranges, the joining and splitting of inserted text and the
// renumbering make exact answers the job of the unit tests.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/heap.h"
#include "annotation/store/doc_state.h"
#include "engine/engine.h"
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

uint32_t CallbackAnswer(uint32_t, uint32_t, void*, uint32_t callbackData) { return callbackData; }

struct World {
    uint32_t docs[2] = {};
    uint32_t hStyles = 0;
    std::vector<AnnoPos> positions[2];  // every document position of each

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
    uint32_t Handle(Input& in, uint32_t doc) {
        const uint8_t how = in.Byte();
        if (how < 240) return docs[doc];
        return how % 2 == 0 ? 0 : in.Word();
    }
};

void CollectPositions(World& world, uint32_t doc) {
    AnnoPos pos{0, 0, 0, 0};
    for (int i = 0; i < 400; ++i) {
        world.positions[doc].push_back(pos);
        if (ANNextChunkerPos(world.docs[doc], &pos, &pos) != 0) break;
    }
}

// Arms one failure for the next call, as the input says.
void ArmFailure(Input& in) {
    const uint8_t which = in.Byte();
    if (which < 200) return;
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
}

void AddOne(World& world, Input& in, uint32_t doc) {
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
    if (kind == ANNO_HIDETEXT) {
        HideTextAnno h{44, r.userId, r.start, r.end, 0};
        if (in.Byte() > 240) h.size = in.Word();
        result = ANAddAnno(hDoc, kind, &h);
    } else if (kind == ANNO_INSERTTEXT) {
        const std::u16string text(in.Below(80), u'a' + in.Below(26));
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
    ExpectOneOf(result, {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANAddAnno");
}

void Walk(World& world, Input& in, uint32_t doc) {
    const uint32_t hDoc = world.Handle(in, doc);
    AnnoPos pos = world.Position(in, doc);
    AnnoTrackInfo track{};
    AnnoTextTrack text{};
    ExpectOneOf(ANStartAnnoTextTrack(hDoc, &text), {0, ANERR_NOMEMORY}, "ANStartAnnoTextTrack");
    ExpectOneOf(ANStartAnnoTrack(hDoc, &pos, &track), {0, 1, 2}, "ANStartAnnoTrack");
    for (uint32_t steps = in.Below(64); steps > 0; --steps) {
        Expect(ANTrackAnno(hDoc, &pos, &track) <= 0x3F, "ANTrackAnno bits");
        uint16_t c = 0;
        ExpectOneOf(ANGetAnnoText(hDoc, &text, &pos, &c),
                    {ANNO_INSERTTEXT, ANNO_INSERTPARABREAK, ANERR_NOTFOUND, ANERR_NOMEMORY, ANERR_BADPARAM,
                     ANERR_NOANNODATA, kInjected},
                    "ANGetAnnoText");
        AnnoPos next{};
        const uint32_t stepped = ANNextPos(hDoc, &pos, &next);
        ExpectOneOf(stepped, {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANNextPos");
        if (stepped != 0) break;
        Expect(ANCompPos(&pos, &next) < 0, "ANNextPos went back");
        pos = next;
    }
    ANEndAnnoTrack(hDoc, &track);
    ANEndAnnoTextTrack(hDoc, &text);
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
        ExpectOneOf(ANFindAnno(hDoc, static_cast<uint16_t>(in.Word()), &info),
                    {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANFindAnno");
    } else if (what == 1) {
        AnnoMapPosition request{in.Byte() > 240 ? in.Word() : 28, in.Below(5), world.Position(in, doc), in.Below(300)};
        ExpectOneOf(ANMapPosition(hDoc, &request),
                    {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, ANERR_NOTFOUND, kInjected}, "ANMapPosition");
    } else if (what == 2) {
        const AnnoPos pos = world.Position(in, doc);
        const uint32_t event = in.Byte() % 40;
        ExpectOneOf(ANAnnoEvent(hDoc, event, static_cast<uint16_t>(in.Byte() > 200 ? in.Word() : in.Below(24)), &pos),
                    {0, kCallbackAnswer}, "ANAnnoEvent");
    } else {
        AnnoPos pos = world.Position(in, doc), next{};
        ExpectOneOf(ANNextAnnoTextPos(hDoc, &pos, &next), {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected},
                    "ANNextAnnoTextPos");
        ExpectOneOf(ANNextChunkerPos(hDoc, &pos, &next), {0, ANERR_NOTFOUND, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected},
                    "ANNextChunkerPos");
    }
}

void Styles(World& world, Input& in, uint32_t doc) {
    HiliteStyle style{in.Byte() > 220 ? 24u : 28u, in.Below(12), in.Below(8), in.Word(), in.Word(), 0, 0, 0};
    if (in.Byte() > 240) style.size = in.Word();
    const uint32_t hDoc = world.Handle(in, doc);
    if (in.Byte() % 2 == 0) {
        ExpectOneOf(ANAddHiliteStyle(hDoc, &style), {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected},
                    "ANAddHiliteStyle");
    } else {
        ExpectOneOf(ANAddGlobalHiliteStyle(world.hStyles, &style), {0, ANERR_NOMEMORY, ANERR_BADPARAM},
                    "ANAddGlobalHiliteStyle");
    }
    HiliteStyle read{};
    ExpectOneOf(ANGetHiliteStyle(hDoc, in.Below(12), &read), {0, 1}, "ANGetHiliteStyle");
}

// One call, as the input's next bytes say.
void Step(World& world, Input& in) {
    const uint32_t doc = in.Byte() % 2;
    const uint8_t op = in.Byte() % 12;
    ArmFailure(in);
    switch (op) {
        case 0:
        case 1:
        case 2: AddOne(world, in, doc); break;
        case 3: {
            const uint32_t result =
                ANClearAnnos(world.Handle(in, doc), static_cast<uint16_t>(in.Byte() << 8), in.Byte() > 128 ? in.Word() : in.Below(4));
            ExpectOneOf(result, {0, ANERR_NOMEMORY, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected, kCallbackAnswer},
                        "ANClearAnnos");
            break;
        }
        case 4:
            ExpectOneOf(ANCopyAnnos(world.Handle(in, doc), world.Handle(in, in.Byte() % 2)),
                        {0, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected}, "ANCopyAnnos");
            break;
        case 5:
            ExpectOneOf(ANBuildAnnos(world.Handle(in, doc)), {0, ANERR_BADPARAM, ANERR_NOANNODATA, kInjected},
                        "ANBuildAnnos");
            break;
        case 6: Walk(world, in, doc); break;
        case 7:
        case 8: Query(world, in, doc, in.Byte() % 4); break;
        case 9: Styles(world, in, doc); break;
        case 10:
            ExpectOneOf(ANSetCallback(world.docs[doc], in.Byte() % 2 == 0 ? &CallbackAnswer : nullptr, kCallbackAnswer),
                        {0, ANERR_NOANNODATA, kInjected}, "ANSetCallback");
            break;
        default: {
            // The state taken down and attached again. ANInit replaces a
            // state without freeing it, so it runs only on a document that
            // has none: a take-down that failed (or could not lock the state
            // and kept it attached) leaves the state in place.
            ExpectOneOf(ANDeInit(world.docs[doc]), {0, ANERR_NOMEMORY, kInjected}, "ANDeInit");
            Disarm();
            uint32_t hState = 0;
            if (annotation::GetAnnoFromDoc(world.docs[doc], &hState) == ANERR_NOANNODATA) {
                ArmFailure(in);
                ExpectOneOf(ANInit(world.docs[doc], world.hStyles, &CallbackAnswer, kCallbackAnswer),
                            {0, ANERR_NOMEMORY, kInjected}, "ANInit");
            }
            break;
        }
    }
    Disarm();
    if (std::getenv("API_FUZZER_TRACE") != nullptr) {
        std::fprintf(stderr, "doc %u op %u: %u blocks live\n", doc, static_cast<unsigned>(op), ENMemLiveBlocks());
    }
    for (uint32_t hDoc : world.docs) {
        const ::testing::AssertionResult sound = testing_support::ListIsSound(hDoc);
        if (!sound) std::fprintf(stderr, "after call %u: %s\n", static_cast<unsigned>(op), sound.message());
        Expect(static_cast<bool>(sound), "list unsound");
    }
    Expect(ENMemLockedBlocks() == 0, "a block was left locked", ENMemLockedBlocks());
    Expect(ENModuleDataLocked() == 0, "module data was left locked");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
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
    for (int steps = 0; in.More() && steps < 200; ++steps) Step(world, in);

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
    return 0;
}
