// Resolving hilite style words into the look of a tracking record: direct
// colours from the colour table, named styles through the document's and
// the global table, and what a switch-off leaves behind.
#include <gtest/gtest.h>

#include <cstring>

#include "annotation/styles/hilite_look.h"
#include "support/annotation_fixture.h"

namespace {

using annotation::gColorMap;
using annotation::SwitchHiliteLookOff;
using annotation::SwitchHiliteLookOn;

// A record whose every field holds a marker value, to see what a call
// leaves as it was.
AnnoTrackInfo MarkedRecord() {
    AnnoTrackInfo info{};
    info.color1On = 7;
    info.color2On = 7;
    info.extraOn = 7;
    info.color1 = 0xC1;
    info.color2 = 0xC2;
    info.attr1 = 0xA1;
    info.attr2 = 0xA2;
    info.userData = 0xDD;
    return info;
}

class HiliteLook : public AnnotationTest {};

TEST_F(HiliteLook, ColorMapHoldsSixteenColours) {
    EXPECT_EQ(gColorMap[0], 0x00000000u);
    EXPECT_EQ(gColorMap[1], 0x00000080u);
    EXPECT_EQ(gColorMap[7], 0x00C0C0C0u);
    EXPECT_EQ(gColorMap[9], 0x000000FFu);
    EXPECT_EQ(gColorMap[11], 0x0000FFFFu);
    EXPECT_EQ(gColorMap[12], 0x00FF0000u);
    EXPECT_EQ(gColorMap[14], 0x00FFFF00u);
    EXPECT_EQ(gColorMap[15], 0x00FFFFFFu);
}

TEST_F(HiliteLook, DirectColoursIndexTheColourMap) {
    AnnoTrackInfo info = MarkedRecord();
    SwitchHiliteLookOn(0, 0x000000A9, 0x55, info);
    EXPECT_EQ(info.color1On, 1);
    EXPECT_EQ(info.color1, gColorMap[10]);
    EXPECT_EQ(info.color2On, 1);
    EXPECT_EQ(info.color2, gColorMap[9]);
    EXPECT_EQ(info.extraOn, 0);
    EXPECT_EQ(info.userData, 0x55u);
    EXPECT_EQ(info.attr1, 0xA1u);  // direct colours carry no attributes
    EXPECT_EQ(info.attr2, 0xA2u);
}

TEST_F(HiliteLook, NoColourBitsSwitchColoursOffAndKeepTheirValues) {
    AnnoTrackInfo info = MarkedRecord();
    SwitchHiliteLookOn(0, 0x30000000, 1, info);
    EXPECT_EQ(info.color1On, 0);
    EXPECT_EQ(info.color2On, 0);
    EXPECT_EQ(info.color1, 0xC1u);
    EXPECT_EQ(info.color2, 0xC2u);

    info = MarkedRecord();
    SwitchHiliteLookOn(0, ANHILITE_NOCOLOR1 | 0xF3, 1, info);
    EXPECT_EQ(info.color1On, 0);
    EXPECT_EQ(info.color2On, 1);
    EXPECT_EQ(info.color2, gColorMap[3]);
}

TEST_F(HiliteLook, StyleIdResolvesThroughTheDocumentThenTheGlobalTable) {
    uint32_t hGlobal = 0;
    ASSERT_EQ(ANInitGlobalHiliteStyles(&hGlobal), 0u);
    HiliteStyle global{28, 0x1002, ANHS_COLOR1ON | ANHS_EXTRAON, 0x010203, 0x040506, 0x8001, 0x9002, 0};
    ASSERT_EQ(ANAddGlobalHiliteStyle(hGlobal, &global), 0u);
    const uint32_t hDoc = AttachDoc("x\n", hGlobal);

    AnnoTrackInfo info = MarkedRecord();
    info.color2On = 0;
    // Bits above the id are ignored when the word names a style.
    SwitchHiliteLookOn(hDoc, ANHILITE_BYSTYLE | ANHILITE_NOCOLOR1 | 0x00FF1002, 0x66, info);
    EXPECT_EQ(info.color1On, 1);
    EXPECT_EQ(info.color1, 0x010203u);
    EXPECT_EQ(info.color2On, 0);  // its flag is clear: the switch stays as it was
    EXPECT_EQ(info.color2, 0x040506u);  // colours are copied whatever the flags
    EXPECT_EQ(info.extraOn, 1);
    EXPECT_EQ(info.attr1, 0x8001u);  // widened without sign
    EXPECT_EQ(info.attr2, 0x9002u);
    EXPECT_EQ(info.userData, 0x66u);

    HiliteStyle own{28, 0x1002, ANHS_COLOR2ON, 0xAA, 0xBB, 1, 2, 0};
    ASSERT_EQ(ANAddHiliteStyle(hDoc, &own), 0u);
    info = MarkedRecord();
    SwitchHiliteLookOn(hDoc, ANHILITE_BYSTYLE | 0x1002, 0, info);
    EXPECT_EQ(info.color2, 0xBBu);
    EXPECT_EQ(info.extraOn, 0);
    EXPECT_EQ(info.color1On, 7);

    DetachDoc(hDoc);
    EXPECT_EQ(ANDeInitGlobalHiliteStyles(hGlobal), 0u);
}

TEST_F(HiliteLook, UnknownStyleSwitchesEverythingOff) {
    const uint32_t hDoc = AttachDoc();
    AnnoTrackInfo info = MarkedRecord();
    SwitchHiliteLookOn(hDoc, ANHILITE_BYSTYLE | 0x4242, 9, info);
    EXPECT_EQ(info.color1On, 0);
    EXPECT_EQ(info.color2On, 0);
    EXPECT_EQ(info.extraOn, 0);
    EXPECT_EQ(info.color1, 0xC1u);
    EXPECT_EQ(info.attr1, 0xA1u);
    EXPECT_EQ(info.userData, 9u);
}

TEST_F(HiliteLook, SwitchingOffTouchesOnlyTheSwitches) {
    AnnoTrackInfo info = MarkedRecord();
    SwitchHiliteLookOff(info);
    AnnoTrackInfo expected = MarkedRecord();
    expected.color1On = expected.color2On = expected.extraOn = 0;
    EXPECT_EQ(std::memcmp(&info, &expected, sizeof info), 0);
}

}  // namespace
