// Short ways for tests to add annotations through ANAddAnno, to write
// positions, and to record what the client callback hears.
#ifndef TESTS_SUPPORT_ADDING_H
#define TESTS_SUPPORT_ADDING_H

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "annotation/annotation.h"

// Positions compare word by word in tests, and print as (item, sub, type,
// offset). They live beside AnnoPos, in the global namespace, so that
// gtest's assertions find them.
inline bool operator==(const AnnoPos& a, const AnnoPos& b) {
    return a.itemId == b.itemId && a.subItemId == b.subItemId && a.posType == b.posType &&
           a.textOffset == b.textOffset;
}

std::ostream& operator<<(std::ostream& out, const AnnoPos& pos);

namespace testing_support {

constexpr AnnoPos DocPos(uint32_t item, uint32_t sub) { return AnnoPos{item, sub, 0, 0}; }
constexpr AnnoPos TextPos(uint32_t item, uint32_t sub, uint32_t offset) {
    return AnnoPos{item, sub, ANPOS_ANNOTEXT, offset};
}

// Each adds one annotation with ANAddAnno in the caller's long form and
// returns its result.
uint32_t AddHilite(uint32_t hDoc, uint32_t userId, AnnoPos start, AnnoPos end, uint32_t style = 0x12,
                   uint32_t userData = 0);
uint32_t AddIcon(uint32_t hDoc, uint32_t userId, AnnoPos start, uint32_t icon = 7);
uint32_t AddHide(uint32_t hDoc, uint32_t userId, AnnoPos start, AnnoPos end, uint32_t userData = 0);
uint32_t AddText(uint32_t hDoc, uint32_t userId, AnnoPos start, const std::u16string& text, uint32_t userData = 0);
uint32_t AddBreak(uint32_t hDoc, uint32_t userId, AnnoPos start, uint16_t kind = ANNO_INSERTPARABREAK);

// What one callback call carried: the InternalAnno of codes 1 and 2, the
// AnnoEventInfo of code 3 (the other record stays all 0).
struct Heard {
    uint32_t code;
    uint32_t arg;
    InternalAnno record;
    AnnoEventInfo event;
};

// Records every callback of the documents it is installed on (as the
// callback data), answering `reply`.
class CallbackLog {
public:
    CallbackLog();
    ~CallbackLog();
    CallbackLog(const CallbackLog&) = delete;
    CallbackLog& operator=(const CallbackLog&) = delete;

    static uint32_t Callback(uint32_t code, uint32_t arg, void* record, uint32_t callbackData);
    uint32_t data() const { return index_; }
    // Installs the log on the document with ANSetCallback.
    void InstallOn(uint32_t hDocument) const;

    std::vector<Heard> heard;
    uint32_t reply = 0;
    // Called, when set, inside each callback (for calls back into the module).
    void (*during)(CallbackLog& log, uint32_t code) = nullptr;
    uint32_t hDoc = 0;
    std::vector<uint32_t> results;  // what `during` recorded

private:
    uint32_t index_;
};

}  // namespace testing_support

#endif
