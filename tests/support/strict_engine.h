// The fixture every test runs under: the stand-in engine in strict memory
// mode, and a final check that the test left no block locked, misused no
// handle and leaked no block.
//
// Strict mode moves every block on reallocation and whenever its lock count
// drops to 0, releasing the old memory, so a pointer kept past its unlock is
// a use-after-free that the sanitizer build reports.
#ifndef TESTS_SUPPORT_STRICT_ENGINE_H
#define TESTS_SUPPORT_STRICT_ENGINE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "engine/engine.h"

class StrictEngineTest : public ::testing::Test {
protected:
    void SetUp() override {
        ENMemSetStrict(1);
        ENFailAllocAfter(-1);
        ENFailCallAfter(nullptr, -1, 0);
        liveAtStart_ = ENMemLiveBlocks();
        misuseAtStart_ = ENMemMisuse();
    }

    void TearDown() override {
        ENFailAllocAfter(-1);
        ENFailCallAfter(nullptr, -1, 0);
        for (uint32_t hDoc : docs_) EXPECT_EQ(ENCloseDocument(hDoc), 0u);
        docs_.clear();
        EXPECT_EQ(ENMemLockedBlocks(), 0u) << "a block was left locked";
        EXPECT_EQ(ENMemMisuse(), misuseAtStart_) << "a handle was misused";
        EXPECT_EQ(ENMemLiveBlocks(), liveAtStart_) << "a block was leaked";
    }

    // Opens a document from its description; it is closed after the test.
    uint32_t OpenDoc(const std::string& description, uint32_t flags = 0) {
        uint32_t hDoc = 0;
        uint32_t result = ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()),
                                         flags, &hDoc);
        EXPECT_EQ(result, 0u) << ENLastError();
        if (result == 0) docs_.push_back(hDoc);
        return hDoc;
    }

    // Closes a document before the end of the test.
    void CloseDoc(uint32_t hDoc) {
        Forget(docs_, hDoc);
        EXPECT_EQ(ENCloseDocument(hDoc), 0u);
    }

    // Drops a handle from a list of handles to release after the test.
    static void Forget(std::vector<uint32_t>& handles, uint32_t handle) {
        std::erase(handles, handle);
    }

private:
    std::vector<uint32_t> docs_;
    uint32_t liveAtStart_ = 0;
    uint32_t misuseAtStart_ = 0;
};

#endif
