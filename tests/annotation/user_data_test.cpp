// ANClearUserData: each distinct userData handle of a hilite, hide-text or
// insert-text annotation is freed once, by the first such node in list
// order; a second call frees nothing twice.
#include <gtest/gtest.h>

#include "annotation/store/anno_list.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_layout.h"
#include "platform/memory.h"

namespace {

using annotation::AnnoList;
using testing_support::LayOutList;
using testing_support::Node;

class UserData : public AnnotationTest {
protected:
    // The userData of every node, in list order.
    static std::vector<uint32_t> UserDataInListOrder(uint32_t hDoc) {
        std::vector<uint32_t> values;
        annotation::DocInfoLock info(DocInfoHandle(hDoc));
        annotation::LockedBlock<AnnoList> list(info->hAnnoList);
        annotation::ForEachNode(*list, [&](uint16_t, annotation::AnnoNode& node) {
            values.push_back(node.anno.userData);
            return true;
        });
        return values;
    }

};

constexpr AnnoPos P(uint32_t sub) { return AnnoPos{0, sub, 0, 0}; }

TEST_F(UserData, SharedHandleIsFreedOnceAndClearedEverywhere) {
    const uint32_t hDoc = AttachDoc();
    const uint32_t h = SYSNativeAlloc(8);
    const uint32_t live = ENMemLiveBlocks();
    LayOutList(DocInfoHandle(hDoc), {Node(ANNO_HILITETEXT, 1, P(0), P(3), h), Node(ANNO_HILITETEXT, 2, P(1), P(3), h),
                                     Node(ANNO_HILITETEXT, 3, P(2), P(3), h), Node(ANNO_INSERTICON, 4, P(4), P(5), h)});
    const uint32_t withList = ENMemLiveBlocks();
    ASSERT_EQ(withList, live + 1);

    EXPECT_EQ(ANClearUserData(hDoc), 0u);
    EXPECT_EQ(ENMemLiveBlocks(), withList - 1);
    EXPECT_EQ(UserDataInListOrder(hDoc), (std::vector<uint32_t>{0, 0, 0, 0}));

    // Harmless a second time: no handle is freed twice (the fixture would
    // see the misuse).
    EXPECT_EQ(ANClearUserData(hDoc), 0u);
    EXPECT_EQ(ENMemLiveBlocks(), withList - 1);
}

TEST_F(UserData, OnlyHiliteHideAndInsertTextFreeTheirHandles) {
    const uint32_t hDoc = AttachDoc();
    const uint32_t hIconFirst = SYSNativeAlloc(4);   // held by an icon, then a hilite
    const uint32_t hIconOnly = SYSNativeAlloc(4);    // held by icon, bitmap, breaks only
    const uint32_t hHide = SYSNativeAlloc(4);
    const uint32_t hText = SYSNativeAlloc(4);
    LayOutList(DocInfoHandle(hDoc), {
                                        Node(ANNO_INSERTICON, 1, P(0), P(1), hIconFirst),
                                        Node(ANNO_INSERTBITMAP, 2, P(1), P(2), hIconOnly),
                                        Node(ANNO_HILITETEXT, 3, P(2), P(6), hIconFirst),
                                        Node(ANNO_INSERTPARABREAK, 4, P(3), P(4), hIconOnly),
                                        Node(ANNO_HIDEPARABREAK, 6, P(4), P(5), hIconOnly),
                                        Node(ANNO_HIDETEXT, 7, P(5), P(8), hHide),
                                        testing_support::TextNode(5, P(9), u"t", hText),
                                    });
    const uint32_t live = ENMemLiveBlocks();
    EXPECT_EQ(ANClearUserData(hDoc), 0u);
    // hIconFirst (by the hilite), hHide and hText are freed; the icon keeps
    // its copy of hIconFirst because it comes before the hilite that freed it.
    EXPECT_EQ(ENMemLiveBlocks(), live - 3);
    EXPECT_EQ(UserDataInListOrder(hDoc),
              (std::vector<uint32_t>{hIconFirst, hIconOnly, 0, hIconOnly, hIconOnly, 0, 0}));
    EXPECT_EQ(SYSNativeFree(hIconOnly), 0u);
}

// A layout pass reports the userData of hidden text and inserted text where
// they switch on; once ANClearUserData has freed the handles, a pass reports
// 0 there, though the pass before it had the list index built.
TEST_F(UserData, LayoutPassAfterClearingReportsNoFreedHandle) {
    const uint32_t hDoc = AttachDoc();
    const uint32_t hHide = SYSNativeAlloc(4);
    const uint32_t hText = SYSNativeAlloc(4);
    ASSERT_EQ(testing_support::AddHide(hDoc, 1, P(2), P(5), hHide), 0u);
    ASSERT_EQ(testing_support::AddText(hDoc, 2, P(8), u"ab", hText), 0u);
    auto reported = [&] {
        std::vector<uint32_t> userData;
        AnnoPos pos{0, 0, 0, 0};
        AnnoTrackInfo info{};
        ANStartAnnoTrack(hDoc, &pos, &info);
        do {
            if ((ANTrackAnno(hDoc, &pos, &info) & (ANTRACK_HIDE | ANTRACK_INSERTTEXT)) != 0) {
                userData.push_back(info.userData);
            }
        } while (ANNextPos(hDoc, &pos, &pos) == 0);
        return userData;
    };
    ASSERT_EQ(reported(), (std::vector<uint32_t>{hHide, hHide, hText}));  // on, off, on
    EXPECT_EQ(ANClearUserData(hDoc), 0u);
    EXPECT_EQ(reported(), (std::vector<uint32_t>{0, 0, 0}));
}

TEST_F(UserData, DocumentWithoutListOrStateIsLeftAlone) {
    const uint32_t hDoc = AttachDoc();
    EXPECT_EQ(ANClearUserData(hDoc), 0u);
    const uint32_t hBare = OpenDoc("x\n");
    EXPECT_EQ(ANClearUserData(hBare), 0u);
    ENFailCallAfter("DALockModuleData", 0, 55);
    EXPECT_EQ(ANClearUserData(hDoc), 0u);
    EXPECT_EQ(ENModuleDataLocked(), 0u);
}

}  // namespace
