// The change log: what a layout pass worked out at each of its change
// positions, kept beside the list index so that the next pass over the same
// positions replays it instead of working it out again.
//
// At a change position tracking finds the nodes alive there, the node where
// the next scan begins, the next change and the nodes whose looks switch on.
// Those answers depend only on the copies in the index, the position and
// the record's scan start (nextNode on entry); what was on before goes off
// by the record's own switches, which the replay reads as the walk does. So
// a record is keyed by the position and the scan start's entry, and holds
// the answers as entries of the copies: a pass made while the index stays
// as it is reads one record per change position. The index clears the log
// whenever its copies change.
//
// Records are kept in the order of their positions, the order in which a
// pass meets them. A change worked out where the log holds no record cuts
// the log there and records from there on: a pass that takes another way
// through the document (another start, other positions asked) rewrites the
// log behind it instead of leaving records nobody meets.
//
// It lives in the index's heap memory (annotation/heap.h). It records at
// most four changes and sixteen switched-on looks per entry of the index
// (224 bytes), about 85 bytes per annotation after a pass over a typical
// document. A refused allocation, or a log that is full, ends recording;
// the changes not recorded are worked out at every pass as before.
#ifndef ANNOTATION_INDEX_CHANGE_LOG_H
#define ANNOTATION_INDEX_CHANGE_LOG_H

#include <cstdint>

#include "annotation/store/anno_pos.h"

namespace annotation {

struct ChangeRecord {
    PositionKey at;      // the position asked at
    uint32_t scanEntry;  // the entry of nextNode on entry, or kNoEntry for none
    uint32_t nextEntry;  // the entry of nextNode after; past the last: none, and no further change
    // The next change: the start (2 × entry) or the end (2 × entry + 1) of
    // an entry.
    uint32_t nextChange;
    uint32_t firstSwitch;  // where its switches begin among the log's
    uint32_t switchCount;  // kWalkedChange: the index could not answer; the caller walked
    uint32_t unused;       // the size stays 40 where a 64-bit word aligns to 4
};
static_assert(sizeof(ChangeRecord) == 40, "a change record is 40 bytes");

inline constexpr uint32_t kWalkedChange = 0xFFFFFFFF;

class ChangeLog {
public:
    ChangeLog() = default;
    ChangeLog(const ChangeLog&) = delete;
    ChangeLog& operator=(const ChangeLog&) = delete;
    ~ChangeLog();

    // Forgets every record; the memory is kept for the next pass.
    void Clear() noexcept;

    // The record of a change at `at` entered with `scanEntry`, or null. The
    // next record is looked at first: a pass asks in the log's order.
    const ChangeRecord* Find(const PositionKey& at, uint32_t scanEntry) noexcept;

    // The entries whose looks the change switched on, in the order the
    // scan switched them: each hilite that took over, every other look.
    const uint32_t* SwitchesOf(const ChangeRecord& record) const noexcept { return switches_ + record.firstSwitch; }

    // Recording a change worked out at `at`: Begin cuts the log at `at`,
    // Switch adds the entries as the scan switches them on, Commit or
    // CommitWalked ends it. `entryCount` bounds the log's size.
    void Begin(const PositionKey& at, uint32_t scanEntry, uint32_t entryCount) noexcept;
    void Switch(uint32_t entry) noexcept;
    void Commit(uint32_t nextEntry, uint32_t nextChange) noexcept;
    void CommitWalked() noexcept;

private:
    uint32_t CountBefore(const PositionKey& at) const noexcept;
    void Abandon() noexcept;
    void Append(uint32_t nextEntry, uint32_t nextChange) noexcept;

    ChangeRecord* records_ = nullptr;
    uint32_t count_ = 0;
    uint32_t capacity_ = 0;
    uint32_t* switches_ = nullptr;
    uint32_t switchCount_ = 0;
    uint32_t switchCapacity_ = 0;
    uint32_t next_ = 0;  // the record a pass is expected to ask for next
    // The change being recorded, between Begin and Commit.
    bool recording_ = false;
    uint32_t mostSwitches_ = 0;
    ChangeRecord pending_{};
};

}  // namespace annotation

#endif
