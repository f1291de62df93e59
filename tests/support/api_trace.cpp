// Recording and comparing what callers see; see the header.
#include "support/api_trace.h"

#include <cstring>
#include <sstream>
#include <utility>

#include "annotation/handle_lock.h"
#include "annotation/store/anno_list.h"
#include "engine/engine.h"
#include "support/list_invariants.h"

namespace testing_support {

namespace {

uint64_t Hash(const std::string& bytes) {
    uint64_t hash = 14695981039346656037ull;  // FNV-1a
    const auto* byte = reinterpret_cast<const uint8_t*>(bytes.data());
    for (const auto* end = byte + bytes.size(); byte != end; ++byte) hash = (hash ^ *byte) * 1099511628211ull;
    return hash;
}

template <typename Record>
std::string BytesOf(const Record& record) {
    return std::string(reinterpret_cast<const char*>(&record), sizeof record);
}

}  // namespace

void ApiTrace::BeginCall(const char* name) {
    ++call_;
    name_ = name;
}

uint32_t ApiTrace::Ordinal(uint32_t handle) {
    if (handle == 0) return 0;
    return ordinals_.try_emplace(handle, static_cast<uint32_t>(ordinals_.size() + 1)).first->second;
}

void ApiTrace::Bytes(const char* label, const void* bytes, size_t size) {
    Add(label, std::string(static_cast<const char*>(bytes), size));
}

void ApiTrace::Anno(const char* label, const InternalAnno& anno) {
    InternalAnno copy = anno;
    copy.hText = Ordinal(copy.hText);
    Add(label, BytesOf(copy));
}

void ApiTrace::Track(const char* label, const AnnoTrackInfo& info) {
    AnnoTrackInfo copy = info;
    copy.hText = Ordinal(copy.hText);
    Add(label, BytesOf(copy));
}

void ApiTrace::TextTrack(const char* label, const AnnoTextTrack& track) {
    AnnoTextTrack copy = track;
    copy.hCache = Ordinal(copy.hCache);
    Add(label, BytesOf(copy));
}

void ApiTrace::Callback(uint32_t code, uint32_t arg, const void* record) {
    const uint32_t words[2] = {code, arg};
    std::string bytes = BytesOf(words);
    if (record != nullptr && code == 3) {
        bytes += BytesOf(*static_cast<const AnnoEventInfo*>(record));
    } else if (record != nullptr && (code == 1 || code == 2)) {
        InternalAnno anno = *static_cast<const InternalAnno*>(record);
        anno.hText = Ordinal(anno.hText);
        // An added text's record carries the caller's text pointer here on a
        // 32-bit target (and behind the record on a 64-bit one).
        if (code == 1 && arg == ANNO_INSERTTEXT) anno.displayData = 0;
        bytes += BytesOf(anno);
    }
    Add("what the callback heard", std::move(bytes));
}

void ApiTrace::ListBlock(const char* label, uint32_t hDoc) {
    const uint32_t hList = ListHandle(hDoc);
    annotation::LockedBlock<const char> list(hList);
    if (!list) {
        Add(label, std::string());
        return;
    }
    std::string bytes(list.get(), ENMemBlockSize(hList));
    list.Unlock();
    constexpr size_t kTextHandle = offsetof(annotation::AnnoNode, anno) + offsetof(InternalAnno, hText);
    for (size_t at = sizeof(annotation::AnnoList) + kTextHandle; at + sizeof(uint32_t) <= bytes.size();
         at += sizeof(annotation::AnnoNode)) {
        uint32_t handle = 0;
        std::memcpy(&handle, bytes.data() + at, sizeof handle);
        handle = Ordinal(handle);
        std::memcpy(bytes.data() + at, &handle, sizeof handle);
    }
    Add(label, std::move(bytes), true);
}

void ApiTrace::Add(const char* label, std::string bytes, bool listBlock) {
    Entry entry{call_, name_, label, 0, {}, listBlock};
    if (keepBytes_) {
        entry.bytes = std::move(bytes);
    } else {
        entry.hash = Hash(bytes);
    }
    entries_.push_back(std::move(entry));
    if (reference_ != nullptr && difference_.empty()) Compare(entries_.back());
}

void ApiTrace::Compare(const Entry& mine) {
    const size_t at = entries_.size() - 1;
    std::ostringstream text;
    text << "call " << mine.call << " (" << mine.name << "): ";
    if (at >= reference_->entries_.size()) {
        text << mine.label << " was recorded after the reference ended";
        difference_ = text.str();
        return;
    }
    const Entry& theirs = reference_->entries_[at];
    if (mine.call != theirs.call || std::strcmp(mine.label, theirs.label) != 0 ||
        std::strcmp(mine.name, theirs.name) != 0) {
        text << mine.label << " was recorded where the reference's call " << theirs.call << " (" << theirs.name
             << ") recorded " << theirs.label;
        difference_ = text.str();
        return;
    }
    const bool bytesKept = keepBytes_ && reference_->keepBytes_;
    if (bytesKept ? mine.bytes == theirs.bytes : HashOf(mine) == reference_->HashOf(theirs)) return;
    text << mine.label << " differs";
    if (bytesKept && mine.bytes.size() != theirs.bytes.size()) {
        text << ": " << mine.bytes.size() << " bytes, the reference " << theirs.bytes.size();
    } else if (bytesKept) {
        size_t byte = 0;
        while (mine.bytes[byte] == theirs.bytes[byte]) ++byte;
        text << ": byte " << byte << " is " << +static_cast<uint8_t>(mine.bytes[byte]) << ", the reference "
             << +static_cast<uint8_t>(theirs.bytes[byte]);
        if (mine.listBlock && byte >= sizeof(annotation::AnnoList)) {
            const size_t inSlots = byte - sizeof(annotation::AnnoList);
            text << " (slot " << inSlots / sizeof(annotation::AnnoNode) << ", its byte "
                 << inSlots % sizeof(annotation::AnnoNode) << ")";
        }
    }
    difference_ = text.str();
}

uint64_t ApiTrace::HashOf(const Entry& entry) const { return keepBytes_ ? Hash(entry.bytes) : entry.hash; }

const std::string& ApiTrace::Finish() {
    if (reference_ != nullptr && difference_.empty() && entries_.size() < reference_->entries_.size()) {
        const Entry& next = reference_->entries_[entries_.size()];
        difference_ = "the run ended where the reference's call " + std::to_string(next.call) + " (" + next.name +
                      ") recorded " + next.label;
    }
    return difference_;
}

}  // namespace testing_support
