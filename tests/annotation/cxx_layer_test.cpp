// The C++ layer: owners release what they hold, a layout pass yields the
// reading order with each position's character and look, failures name
// their result code, and misuse fails loudly in debug builds.
#include <gtest/gtest.h>

#include <string>

#include "annotation/annotation.hpp"
#include "support/strict_engine.h"

namespace {

using namespace annotation::cxx;

class CxxLayer : public StrictEngineTest {};

TEST_F(CxxLayer, LayoutPassYieldsTheReadingOrderWithItsLook) {
    // Item 0 "Hello world" (characters 0-10), 1 end, 2 "Bye" (11-13), 3 end.
    const uint32_t hDoc = OpenDoc("Hello world\nBye\n");
    GlobalStyles styles;
    styles.Add(Style(7, 0x0000FF));
    Document document(hDoc, styles.handle());
    document.Add(HiddenText{DocumentPosition(0, 5), DocumentPosition(0, 11)});
    document.Add(InsertedText{DocumentPosition(0, 0), u">> "});
    document.Add(InsertedParaBreak{DocumentPosition(2, 13)});
    document.Add(Hilite{DocumentPosition(2, 12), DocumentPosition(2, 14), ANHILITE_BYSTYLE | 7});
    document.Add(Icon{DocumentPosition(1, 0xFFFFFFFF), 3});

    std::u16string shown, colored;
    for (const Cell& cell : LayoutPass(document)) {
        if (cell.hidden()) continue;
        if ((cell.changed & ANTRACK_ICON) != 0) shown += u'*';
        switch (cell.what) {
            case Cell::What::kCharacter:
            case Cell::What::kInsertedCharacter: shown += cell.character; break;
            case Cell::What::kParagraphEnd: shown += u'\n'; break;
            case Cell::What::kInsertedBreak: shown += u'|'; break;
            case Cell::What::kObject: shown += u'#'; break;
        }
        if (cell.look->color1On != 0 && cell.look->color1 == 0x0000FF) colored += shown.back();
    }
    EXPECT_EQ(shown, u">> Hello*\nBy|e\n");
    EXPECT_EQ(colored, u"y|e");
    EXPECT_EQ(document.AccOf(document.PositionOf(12)), 12u);
    EXPECT_FALSE(document.Find(ANFIND_AT | ANMATCH_ALLBITS, 0, DocumentPosition(0, 1)).has_value());
    ASSERT_TRUE(document.Find(ANFIND_FIRST | ANMATCH_ALLBITS, 0).has_value());
}

TEST_F(CxxLayer, FailuresNameTheirResultCode) {
    GlobalStyles styles;
    HiliteStyle bad = Style(1, 0);
    bad.size = 5;
    try {
        styles.Add(bad);
        ADD_FAILURE() << "no error";
    } catch (const Error& error) {
        EXPECT_EQ(error.code(), ANERR_BADPARAM);
        EXPECT_NE(std::string(error.what()).find("ANERR_BADPARAM"), std::string::npos);
    }
    EXPECT_STREQ(ResultName(ANERR_NOTFOUND), "ANERR_NOTFOUND");
    EXPECT_STREQ(ResultName(77), "");
}

TEST_F(CxxLayer, MisuseFailsInDebugBuilds) {
    const uint32_t hDoc = OpenDoc("abc\n");
    Document document(hDoc);
    Document moved(std::move(document));
    // Without assertions the moved-from owner names no document, and the
    // module refuses the add.
    EXPECT_DEBUG_DEATH(
        {
            try {
                document.Add(Icon{DocumentPosition(0, 0), 1});
            } catch (const Error&) {
            }
        },
        "moved from");
    EXPECT_EQ(moved.handle(), hDoc);
}

}  // namespace
