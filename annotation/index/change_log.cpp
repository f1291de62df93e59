// The change log: see change_log.h.
#include "annotation/index/change_log.h"

#include <algorithm>

#include "annotation/heap.h"
#include "annotation/index/index_array.h"

namespace annotation {
namespace {

constexpr uint32_t kRecordsPerEntry = 4;
constexpr uint32_t kSwitchesPerEntry = 16;
constexpr uint32_t kLeastRoom = 64;

}  // namespace

ChangeLog::~ChangeLog() {
    HeapFree(records_);
    HeapFree(switches_);
}

void ChangeLog::Clear() noexcept {
    count_ = 0;
    switchCount_ = 0;
    next_ = 0;
    recording_ = false;
}

// The records before the first at or after `at`.
uint32_t ChangeLog::CountBefore(const PositionKey& at) const noexcept {
    const ChangeRecord* first = std::lower_bound(
        records_, records_ + count_, at, [](const ChangeRecord& record, const PositionKey& key) { return record.at < key; });
    return static_cast<uint32_t>(first - records_);
}

const ChangeRecord* ChangeLog::Find(const PositionKey& at, uint32_t scanEntry) noexcept {
    if (next_ < count_ && records_[next_].at == at && records_[next_].scanEntry == scanEntry) return &records_[next_++];
    // Beyond the last record (a pass still recording) nothing is found.
    if (count_ == 0 || records_[count_ - 1].at < at) return nullptr;
    for (uint32_t i = CountBefore(at); i < count_ && records_[i].at == at; ++i) {
        if (records_[i].scanEntry != scanEntry) continue;
        next_ = i + 1;
        return &records_[i];
    }
    return nullptr;
}

void ChangeLog::Begin(const PositionKey& at, uint32_t scanEntry, uint32_t entryCount) noexcept {
    // A change asked again at the position of the record just made or met
    // (a pass may ask twice where a node ends at the position itself) comes
    // after it; any other cuts the log at its position.
    uint32_t cut = 0;
    if (next_ > 0 && next_ <= count_ && records_[next_ - 1].at == at) {
        cut = next_;
    } else if (count_ == 0 || records_[count_ - 1].at < at) {
        cut = count_;
    } else {
        cut = CountBefore(at);
    }
    if (cut < count_) {
        switchCount_ = records_[cut].firstSwitch;
        count_ = cut;
    }
    next_ = count_;
    const uint64_t mostRecords = uint64_t{entryCount} * kRecordsPerEntry + kLeastRoom;
    const uint64_t mostSwitches = uint64_t{entryCount} * kSwitchesPerEntry + kLeastRoom;
    recording_ = count_ < mostRecords;
    mostSwitches_ = mostSwitches < kWalkedChange ? static_cast<uint32_t>(mostSwitches) : kWalkedChange - 1;
    pending_ = ChangeRecord{at, scanEntry, 0, 0, switchCount_, 0, 0};
}

void ChangeLog::Abandon() noexcept {
    recording_ = false;
    switchCount_ = pending_.firstSwitch;
}

void ChangeLog::Switch(uint32_t entry) noexcept {
    if (!recording_) return;
    if (switchCount_ >= mostSwitches_ || !ReserveIndexArray(switches_, switchCapacity_, switchCount_ + 1)) {
        Abandon();
        return;
    }
    switches_[switchCount_++] = entry;
    ++pending_.switchCount;
}

void ChangeLog::Append(uint32_t nextEntry, uint32_t nextChange) noexcept {
    if (!recording_) return;
    if (!ReserveIndexArray(records_, capacity_, count_ + 1)) {
        Abandon();
        return;
    }
    pending_.nextEntry = nextEntry;
    pending_.nextChange = nextChange;
    records_[count_++] = pending_;
    next_ = count_;
    recording_ = false;
}

void ChangeLog::Commit(uint32_t nextEntry, uint32_t nextChange) noexcept { Append(nextEntry, nextChange); }

void ChangeLog::CommitWalked() noexcept {
    // Any switches taken before the index gave up are not the walk's.
    switchCount_ = pending_.firstSwitch;
    pending_.switchCount = kWalkedChange;
    Append(0, 0);
}

}  // namespace annotation
