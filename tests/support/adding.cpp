// Test helpers for adding annotations and recording callbacks.
#include "support/adding.h"

#include <ostream>

std::ostream& operator<<(std::ostream& out, const AnnoPos& pos) {
    return out << "(" << pos.itemId << ", " << static_cast<int32_t>(pos.subItemId) << ", " << pos.posType << ", "
               << pos.textOffset << ")";
}

namespace testing_support {

uint32_t AddHilite(uint32_t hDoc, uint32_t userId, AnnoPos start, AnnoPos end, uint32_t style, uint32_t userData) {
    const HiliteTextAnno anno{sizeof(HiliteTextAnno), userId, start, end, 0, userData, 0, 0, style};
    return ANAddAnno(hDoc, ANNO_HILITETEXT, &anno);
}

uint32_t AddIcon(uint32_t hDoc, uint32_t userId, AnnoPos start, uint32_t icon) {
    const InsertIconAnno anno{sizeof(InsertIconAnno), userId, start, start, 0, 0, 0, 0, icon};
    return ANAddAnno(hDoc, ANNO_INSERTICON, &anno);
}

uint32_t AddHide(uint32_t hDoc, uint32_t userId, AnnoPos start, AnnoPos end, uint32_t userData) {
    const HideTextAnno anno{sizeof(HideTextAnno), userId, start, end, userData};
    return ANAddAnno(hDoc, ANNO_HIDETEXT, &anno);
}

uint32_t AddText(uint32_t hDoc, uint32_t userId, AnnoPos start, const std::u16string& text, uint32_t userData) {
    const InsertTextAnno anno{sizeof(InsertTextAnno), userId, start, userData, text.data(),
                              static_cast<uint32_t>(text.size())};
    return ANAddAnno(hDoc, ANNO_INSERTTEXT, &anno);
}

uint32_t AddBreak(uint32_t hDoc, uint32_t userId, AnnoPos start, uint16_t kind) {
    const ParaBreakAnno anno{sizeof(ParaBreakAnno), userId, start, 0};
    return ANAddAnno(hDoc, kind, &anno);
}

namespace {

std::vector<CallbackLog*>& Logs() {
    static std::vector<CallbackLog*> logs;
    return logs;
}

}  // namespace

CallbackLog::CallbackLog() : index_(static_cast<uint32_t>(Logs().size())) { Logs().push_back(this); }

CallbackLog::~CallbackLog() { Logs()[index_] = nullptr; }

uint32_t CallbackLog::Callback(uint32_t code, uint32_t arg, void* record, uint32_t callbackData) {
    CallbackLog* log = Logs().at(callbackData);
    Heard heard{code, arg, {}, {}};
    if (code == 3) {
        heard.event = *static_cast<const AnnoEventInfo*>(record);
    } else {
        heard.record = *static_cast<const InternalAnno*>(record);
    }
    log->heard.push_back(heard);
    if (log->during != nullptr) log->during(*log, code);
    return log->reply;
}

void CallbackLog::InstallOn(uint32_t hDocument) const { ANSetCallback(hDocument, &CallbackLog::Callback, index_); }

}  // namespace testing_support
