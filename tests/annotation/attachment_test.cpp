// Attaching annotation state to documents and taking it away: ANInit,
// ANDeInit, ANSetCallback and GetAnnoFromDoc, with the engine failing each
// platform call and each allocation in turn.
#include <gtest/gtest.h>

#include <cstring>

#include "annotation/store/anno_list.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_layout.h"
#include "platform/data_access.h"
#include "platform/memory.h"

namespace {

using annotation::AnnoDocInfo;
using annotation::GetAnnoFromDoc;
using testing_support::LayOutList;
using testing_support::Node;

constexpr uint32_t kWhole = 0xFFFFFFFF;

uint32_t RecordingCallback(uint32_t, uint32_t, void*, uint32_t) { return 0; }

class Attachment : public AnnotationTest {
protected:
    // Puts a state handle into the document's slot by hand, as ANInit would.
    static void WriteAnnoSlot(uint32_t hDoc, uint32_t hInfo) {
        uint32_t hDocData = 0;
        ASSERT_EQ(DARetrieveDocHandle(hDoc, &hDocData), 0u);
        void* data = nullptr;
        ASSERT_EQ(DALockModuleData(hDocData, &data), 0u);
        std::memcpy(static_cast<char*>(data) + DA_ANNO_SLOT_OFFSET, &hInfo, sizeof hInfo);
        ASSERT_EQ(DAUnlockModuleData(hDocData), 0u);
    }
};

TEST_F(Attachment, InitFillsTheStateBlock) {
    uint32_t hGlobal = 0;
    ASSERT_EQ(ANInitGlobalHiliteStyles(&hGlobal), 0u);
    const uint32_t hDoc = AttachDoc("Hello\n", hGlobal, RecordingCallback, 77);

    uint32_t hInfo = 0;
    ASSERT_EQ(GetAnnoFromDoc(hDoc, &hInfo), 0u);
    uint32_t hFromEngine = 0;
    ASSERT_EQ(DAGetAnno(hDoc, &hFromEngine), 0u);
    EXPECT_EQ(hInfo, hFromEngine);

    const AnnoDocInfo info = DocInfo(hDoc);
    uint32_t hChunker = 0;
    ASSERT_EQ(DAGetHChunker(hDoc, &hChunker), 0u);
    EXPECT_EQ(info.hSelf, hInfo);
    EXPECT_EQ(info.hDoc, hDoc);
    EXPECT_EQ(info.hChunker, hChunker);
    EXPECT_EQ(info.hAnnoList, 0u);
    EXPECT_NE(info.hHiliteStyles, 0u);
    EXPECT_EQ(info.hGlobalHiliteStyles, hGlobal);
    EXPECT_EQ(info.trackNode, 0xFFFF);
    EXPECT_EQ(info.trackPos.itemId, kWhole);
    EXPECT_EQ(info.trackPos.subItemId, kWhole);
    EXPECT_EQ(info.callback, &RecordingCallback);
    EXPECT_EQ(info.callbackData, 77u);
    EXPECT_EQ(info.nextBuildItem, 0u);
    EXPECT_EQ(info.accMap.chunk, 0xFFFF);
    EXPECT_EQ(info.accMap.pCharItem, nullptr);
    EXPECT_EQ(info.accMapPrev.chunk, 0xFFFF);
    EXPECT_EQ(info.accMapPrev.pCharItem, nullptr);
    EXPECT_EQ(info.hSecondDoc, 0u);
    EXPECT_EQ(info.accFlags, 0u);

    DetachDoc(hDoc);
    EXPECT_EQ(GetAnnoFromDoc(hDoc, &hInfo), ANERR_NOANNODATA);
    EXPECT_EQ(ANDeInitGlobalHiliteStyles(hGlobal), 0u);
}

TEST_F(Attachment, CharacterSetFollowsTheDocumentOption) {
    ENSetOSCharSet(0x22);
    const uint32_t hPlain = AttachDoc("a\n");
    EXPECT_EQ(DocInfo(hPlain).charSet, 0x22u);

    // Bit 0x10 of option 0x52A32 fixes the character set, whatever the
    // operating system's; other bits do not.
    const uint32_t hUnicode = OpenDoc("b\n");
    ASSERT_EQ(ENSetDocOption(hUnicode, 0x52A32, 0x11), 0u);
    ASSERT_EQ(ANInit(hUnicode, 0, nullptr, 0), 0u);
    EXPECT_EQ(DocInfo(hUnicode).charSet, 0x14B00000u);
    EXPECT_EQ(ANDeInit(hUnicode), 0u);

    const uint32_t hOtherBits = OpenDoc("c\n");
    ASSERT_EQ(ENSetDocOption(hOtherBits, 0x52A32, 0xFFFFFFEF), 0u);
    ASSERT_EQ(ANInit(hOtherBits, 0, nullptr, 0), 0u);
    EXPECT_EQ(DocInfo(hOtherBits).charSet, 0x22u);
    EXPECT_EQ(ANDeInit(hOtherBits), 0u);
    ENSetOSCharSet(0x00000001);
}

TEST_F(Attachment, NullDocumentAndDocumentWithoutChunkerCreateNothing) {
    const uint32_t live = ENMemLiveBlocks();
    EXPECT_EQ(ANInit(0, 0, nullptr, 0), 0u);
    EXPECT_EQ(ANSetCallback(0, nullptr, 0), ANERR_BADPARAM);
    EXPECT_EQ(ANDeInit(0), ANERR_BADPARAM);
    EXPECT_EQ(ANClearUserData(0), ANERR_BADPARAM);
    uint32_t hInfo = 123;
    EXPECT_EQ(GetAnnoFromDoc(0, &hInfo), ANERR_BADPARAM);

    const uint32_t hNoChunker = OpenDoc("text\n", EN_NOCHUNKER);
    EXPECT_EQ(ANInit(hNoChunker, 0, nullptr, 0), 0u);
    EXPECT_EQ(ENMemLiveBlocks(), live);
    EXPECT_EQ(GetAnnoFromDoc(hNoChunker, nullptr), ANERR_BADPARAM);
    EXPECT_EQ(GetAnnoFromDoc(hNoChunker, &hInfo), ANERR_NOANNODATA);
    EXPECT_EQ(hInfo, 123u);
    EXPECT_EQ(ANSetCallback(hNoChunker, nullptr, 0), ANERR_NOANNODATA);
    EXPECT_EQ(ANDeInit(hNoChunker), 0u);
    EXPECT_EQ(ANClearUserData(hNoChunker), 0u);
}

TEST_F(Attachment, DataAccessErrorsPassThroughUnchanged) {
    const uint32_t hDoc = AttachDoc();
    ENFailCallAfter("DAGetAnno", 0, 4711);
    uint32_t hInfo = 0;
    EXPECT_EQ(GetAnnoFromDoc(hDoc, &hInfo), 4711u);
    ENFailCallAfter("DAGetAnno", 0, 4712);
    EXPECT_EQ(ANSetCallback(hDoc, nullptr, 0), 4712u);
    ENFailCallAfter("DARetrieveDocHandle", 0, 4713);
    EXPECT_EQ(ANDeInit(hDoc), 4713u);
    ENFailCallAfter("DARetrieveDocHandle", 0, 4714);
    EXPECT_EQ(ANClearUserData(hDoc), 4714u);
    // The state survived every failed call.
    EXPECT_EQ(GetAnnoFromDoc(hDoc, &hInfo), 0u);
}

TEST_F(Attachment, FailedInitLeavesNothingAllocatedOrAttached) {
    const char* const calls[] = {"DAGetHChunker", "DARetrieveDocHandle", "DALockModuleData"};
    for (const char* call : calls) {
        SCOPED_TRACE(call);
        const uint32_t hDoc = OpenDoc("Hello\n");
        const uint32_t live = ENMemLiveBlocks();
        ENFailCallAfter(call, 0, 901);
        EXPECT_EQ(ANInit(hDoc, 0, nullptr, 0), 901u);
        EXPECT_EQ(ENMemLiveBlocks(), live);
        EXPECT_EQ(ENModuleDataLocked(), 0u);
        uint32_t hInfo = 0;
        EXPECT_EQ(GetAnnoFromDoc(hDoc, &hInfo), ANERR_NOANNODATA);
        // The document can still be initialised afterwards.
        EXPECT_EQ(ANInit(hDoc, 0, nullptr, 0), 0u);
        EXPECT_EQ(ANDeInit(hDoc), 0u);
    }
}

TEST_F(Attachment, FailedModuleDataLockDestroysTheModuleData) {
    const uint32_t hOld = AttachDoc("Hello\n");
    uint32_t hInfo = 0;
    ASSERT_EQ(GetAnnoFromDoc(hOld, &hInfo), 0u);
    // A second ANInit whose module data lock fails: the module data is
    // discarded, and with it the slot of the first state, which therefore
    // has to be freed by hand here.
    ENFailCallAfter("DALockModuleData", 0, 902);
    EXPECT_EQ(ANInit(hOld, 0, nullptr, 0), 902u);
    uint32_t hAfter = 0;
    EXPECT_EQ(GetAnnoFromDoc(hOld, &hAfter), ANERR_NOANNODATA);
    WriteAnnoSlot(hOld, hInfo);
}

TEST_F(Attachment, InitSurvivesEveryAllocationFailure) {
    // The state block failing gives 13; the style table failing is not an
    // error: the document then has no table of its own.
    for (int32_t n = 0;; ++n) {
        SCOPED_TRACE(n);
        const uint32_t hDoc = OpenDoc("Hello\n");
        const uint32_t live = ENMemLiveBlocks();
        ENFailAllocAfter(n);
        const uint32_t result = ANInit(hDoc, 0, nullptr, 0);
        const bool reached = ENFailPending() == 0;
        ENFailAllocAfter(-1);
        if (!reached) {
            EXPECT_EQ(result, 0u);
            EXPECT_EQ(ANDeInit(hDoc), 0u);
            break;
        }
        if (n == 0) {
            EXPECT_EQ(result, ANERR_NOMEMORY);
            EXPECT_EQ(ENMemLiveBlocks(), live);
            continue;
        }
        EXPECT_EQ(result, 0u);
        EXPECT_EQ(DocInfo(hDoc).hHiliteStyles, 0u);
        HiliteStyle style{28, 5, 0, 0, 0, 0, 0, 0};
        EXPECT_EQ(ANAddHiliteStyle(hDoc, &style), ANERR_BADPARAM);
        EXPECT_EQ(ANGetHiliteStyle(hDoc, 5, &style), 0u);
        EXPECT_EQ(ANDeInit(hDoc), 0u);
        EXPECT_EQ(ENMemLiveBlocks(), live);
    }
}

TEST_F(Attachment, DeInitFreesListAndTextsButNotUserData) {
    const uint32_t hDoc = AttachDoc();
    const uint32_t hUserData = SYSNativeAlloc(4);
    LayOutList(DocInfoHandle(hDoc),
               {Node(ANNO_HILITETEXT, 9, {0, 0, 0, 0}, {0, 5, 0, 0}, hUserData),
                testing_support::TextNode(1, {0, 0, 0, 0}, u"abc", hUserData),
                testing_support::TextNode(2, {0, 3, 0, 0}, std::u16string(200, u'x')),
                Node(ANNO_HIDETEXT, 3, {1, kWhole, 0, 0}, {2, kWhole, 0, 0})});

    const uint32_t live = ENMemLiveBlocks();
    DetachDoc(hDoc);
    // The state, its style table, the list and the two texts are gone; the
    // caller's userData handle is not the module's to free.
    EXPECT_EQ(ENMemLiveBlocks(), live - 5);
    EXPECT_NE(SYSNativeLock(hUserData), nullptr);
    EXPECT_EQ(SYSNativeUnlock(hUserData), 0u);
    EXPECT_EQ(SYSNativeFree(hUserData), 0u);
}

TEST_F(Attachment, DeInitOfADocumentWithoutStateChangesNothing) {
    const uint32_t hDoc = OpenDoc("x\n");
    const uint32_t live = ENMemLiveBlocks();
    EXPECT_EQ(ANDeInit(hDoc), 0u);
    EXPECT_EQ(ANDeInit(hDoc), 0u);
    EXPECT_EQ(ENMemLiveBlocks(), live);
    EXPECT_EQ(ENModuleDataLocked(), 0u);
}

TEST_F(Attachment, DeInitWithFailedModuleDataLockKeepsTheState) {
    const uint32_t hDoc = AttachDoc();
    ENFailCallAfter("DALockModuleData", 0, 903);
    EXPECT_EQ(ANDeInit(hDoc), 903u);
    EXPECT_EQ(ENModuleDataLocked(), 0u);
    uint32_t hInfo = 0;
    EXPECT_EQ(GetAnnoFromDoc(hDoc, &hInfo), 0u);
}

TEST_F(Attachment, DeInitWhenTheStateCannotBeLockedKeepsItAttached) {
    const uint32_t hDoc = AttachDoc();
    ENFailCallAfter("SYSNativeLock", 0, 1);
    EXPECT_EQ(ANDeInit(hDoc), 0u);
    uint32_t hInfo = 0;
    EXPECT_EQ(GetAnnoFromDoc(hDoc, &hInfo), 0u);
}

TEST_F(Attachment, SecondInitReplacesTheState) {
    const uint32_t hDoc = AttachDoc();
    const uint32_t hFirst = DocInfoHandle(hDoc);
    ASSERT_EQ(ANInit(hDoc, 0, nullptr, 0), 0u);
    const uint32_t hSecond = DocInfoHandle(hDoc);
    EXPECT_NE(hFirst, hSecond);
    // Take the second state down, then put the first back to free it too.
    ASSERT_EQ(ANDeInit(hDoc), 0u);
    WriteAnnoSlot(hDoc, hFirst);
}

TEST_F(Attachment, SetCallbackReplacesAndClears) {
    const uint32_t hDoc = AttachDoc("a\n", 0, nullptr, 1);
    EXPECT_EQ(ANSetCallback(hDoc, RecordingCallback, 42), 0u);
    EXPECT_EQ(DocInfo(hDoc).callback, &RecordingCallback);
    EXPECT_EQ(DocInfo(hDoc).callbackData, 42u);
    EXPECT_EQ(ANSetCallback(hDoc, nullptr, 0), 0u);
    EXPECT_EQ(DocInfo(hDoc).callback, nullptr);
}

// Taking a state down when one of its blocks cannot be locked: nothing is
// freed, 13, and the state stays attached for the next ANDeInit; no block
// is lost either way (found by the fuzzer: the style table was lost).
TEST_F(Attachment, DeInitThatCannotLockWhatItFreesKeepsTheStateWhole) {
    for (int32_t n = 0; n < 6; ++n) {
        SCOPED_TRACE(n);
        const uint32_t hDoc = OpenDoc("Hello world\n");
        ASSERT_EQ(ANInit(hDoc, 0, nullptr, 0), 0u);
        ASSERT_EQ(testing_support::AddText(hDoc, 1, testing_support::DocPos(0, 2), u"abc"), 0u);
        HiliteStyle style{sizeof(HiliteStyle), 3, ANHS_COLOR1ON, 1, 0, 0, 0, 0};
        ASSERT_EQ(ANAddHiliteStyle(hDoc, &style), 0u);
        ENFailCallAfter("SYSNativeLock", n, 0);
        const uint32_t result = ANDeInit(hDoc);
        ENFailCallAfter(nullptr, -1, 0);
        EXPECT_TRUE(result == 0 || result == ANERR_NOMEMORY) << result;
        // (A state block that cannot be locked is answered as no state and
        // also stays attached.)
        if (result != 0) { EXPECT_NE(DocInfoHandle(hDoc), 0u); }
        EXPECT_EQ(ANDeInit(hDoc), 0u);
        CloseDoc(hDoc);
    }
}

}  // namespace
