// What a caller sees of a sequence of calls, recorded so that two runs of the
// same sequence can be compared: every result, every record a call filled,
// what the client callback heard and, after each call, the bytes of the
// documents' annotation list blocks. The list index must leave all of it
// unchanged, so a run with the index and a run of the plain list walks must
// record the same trace.
//
// Handles are the one thing a caller sees that is not the same from run to
// run: the engine never hands a handle out twice, so the text block of an
// inserted text, or a text-track cache, has another number in the second
// run. The trace records each handle by the order in which the run first
// met it (1, 2, ...; 0 stays 0). Since no number comes back, two runs agree
// on these ordinals exactly when the same blocks stand in the same places.
// Pointers a record may carry (the caller's text pointer in the added-
// annotation callback) are left out.
#ifndef TESTS_SUPPORT_API_TRACE_H
#define TESTS_SUPPORT_API_TRACE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "annotation/annotation.h"

namespace testing_support {

class ApiTrace {
public:
    // `reference`: the trace of an earlier run that this one is compared
    // with, entry by entry, as it is recorded (null: none). `keepBytes`:
    // keep each entry's bytes, so that a difference names the byte, or only
    // a hash of them.
    explicit ApiTrace(const ApiTrace* reference = nullptr, bool keepBytes = true)
        : reference_(reference), keepBytes_(keepBytes) {}

    // Starts the next call (numbered from 1); what is recorded until the next
    // BeginCall belongs to it. `name` must outlive the trace.
    void BeginCall(const char* name);

    void Word(const char* label, uint32_t value) { Bytes(label, &value, sizeof value); }
    // A record that holds no handle.
    void Bytes(const char* label, const void* bytes, size_t size);
    void Pos(const char* label, const AnnoPos& pos) { Bytes(label, &pos, sizeof pos); }
    // Records whose handle words are recorded by ordinal.
    void Anno(const char* label, const InternalAnno& anno);
    void Track(const char* label, const AnnoTrackInfo& info);
    void TextTrack(const char* label, const AnnoTextTrack& track);
    // What the client callback heard: code, argument and record.
    void Callback(uint32_t code, uint32_t arg, const void* record);
    // The document's list block, every byte of it (with each slot's text
    // handle by ordinal), or that it has none.
    void ListBlock(const char* label, uint32_t hDoc);

    // The first difference from the reference so far ("" while they agree):
    // the call number and name, what differed and, with bytes kept, where.
    const std::string& difference() const { return difference_; }
    // At the end of a run: also a difference when the reference went on.
    const std::string& Finish();

private:
    struct Entry {
        uint32_t call;
        const char* name;
        const char* label;
        uint64_t hash;      // without bytes kept
        std::string bytes;  // with bytes kept
        bool listBlock;
    };

    uint32_t Ordinal(uint32_t handle);
    void Add(const char* label, std::string bytes, bool listBlock = false);
    void Compare(const Entry& mine);
    uint64_t HashOf(const Entry& entry) const;

    const ApiTrace* reference_;
    bool keepBytes_;
    uint32_t call_ = 0;
    const char* name_ = "";
    std::vector<Entry> entries_;
    std::unordered_map<uint32_t, uint32_t> ordinals_;
    std::string difference_;
};

}  // namespace testing_support

#endif
