// Helpers shared by the engine's tests: StrictEngineTest plus short ways to
// reach a document's chunker, look items up and read a content stream.
#ifndef TESTS_ENGINE_ENGINE_TEST_H
#define TESTS_ENGINE_ENGINE_TEST_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "platform/platform.h"
#include "tests/support/strict_engine.h"

using Words = std::array<uint32_t, 7>;

// A value no engine call writes by chance: an output still holding it was
// left untouched.
constexpr uint32_t kUntouched = 0xA5A5A5A5u;

// One content record as a reader sees it, with the bytes written for it.
struct Record {
    uint32_t type = 0;
    uint32_t idOrFlags = 0;
    uint32_t count = 0;
    uint32_t charSet = 0;
    uint32_t itemIndex = 0;
    std::string bytes;

    bool operator==(const Record&) const = default;
};

inline void PrintTo(const Record& r, std::ostream* os) {
    *os << "{type " << r.type << ", id/flags 0x" << std::hex << r.idOrFlags << std::dec << ", count " << r.count
        << ", charset 0x" << std::hex << r.charSet << std::dec << ", item " << r.itemIndex << ", \"" << r.bytes << "\"}";
}

class EngineTest : public StrictEngineTest {
protected:
    uint32_t ChunkerOf(uint32_t hDoc) {
        uint32_t hChunker = 0;
        EXPECT_EQ(DAGetHChunker(hDoc, &hChunker), 0u);
        return hChunker;
    }

    uint32_t OpenChunker(const std::string& description) { return ChunkerOf(OpenDoc(description)); }

    // The record of a kind-0 item (or of a `kind` element); a failure fails the test.
    static Words Get(uint32_t hChunker, uint32_t id, uint32_t* pNext = nullptr, uint32_t kind = 0) {
        Words item{};
        EXPECT_EQ(CHGetItem(hChunker, kind, id, item.data(), pNext), 0u) << "id 0x" << std::hex << id;
        return item;
    }

    static uint32_t Count(uint32_t hChunker, uint32_t kind) {
        uint32_t n = kUntouched;
        EXPECT_EQ(CHGetItemCount(hChunker, kind, &n), 0u);
        return n;
    }

    // Reads the next record with `bytesFree` bytes of buffer (none when 0).
    static uint32_t Read(uint32_t hContent, Record& out, uint32_t bytesFree = 64, bool first = false) {
        std::vector<char> buffer(bytesFree + 1, '#');
        CAReadRecord record{};
        record.size = sizeof record;
        record.bytesFree = bytesFree;
        record.buffer = bytesFree > 0 ? buffer.data() : nullptr;
        const uint32_t result = first ? CAReadFirst(hContent, &record) : CAReadNext(hContent, &record);
        EXPECT_EQ(buffer[bytesFree], '#') << "wrote past the bytes free";
        out = Record{record.type, record.idOrFlags, record.count, record.charSet, record.itemIndex,
                     std::string(buffer.data(), std::min(record.bytesWritten, bytesFree))};
        return result;
    }

    // Every record of a document's content stream, from chunk 0 to the end.
    static std::vector<Record> ReadAll(uint32_t hDoc, uint32_t bytesFree = 64) {
        uint32_t hContent = 0;
        EXPECT_EQ(CAOpenContent(hDoc, &hContent), 0u);
        std::vector<Record> records;
        Record record;
        for (uint32_t result = Read(hContent, record, bytesFree, true); result == 0;
             result = Read(hContent, record, bytesFree)) {
            records.push_back(record);
        }
        EXPECT_EQ(CACloseContent(hContent), 0u);
        return records;
    }
};

#endif
