// Running out of memory in every allocation of a call in turn: the fixture of
// the out-of-memory sweeps. The engine fails its movable blocks on request
// (ENFailAllocAfter), the module's heap its own allocations (the ACC maps,
// annotation::SetHeapFailAfter); a sweep arms one kind or both.
#ifndef TESTS_SUPPORT_MEMORY_SWEEP_H
#define TESTS_SUPPORT_MEMORY_SWEEP_H

#include <gtest/gtest.h>

#include <cstdint>

#include "annotation/heap.h"
#include "engine/engine.h"
#include "support/adding.h"
#include "support/annotation_fixture.h"
#include "support/list_invariants.h"

namespace testing_support {

// The allocations a sweep makes fail, as bits.
enum Allocations : uint32_t { kMovableBlocks = 0x1, kHeapMemory = 0x2, kAnyMemory = 0x3 };

// For each kind in `which`: the allocation after n more successful ones
// fails, once; -1 disarms.
inline void FailAllocationAfter(uint32_t which, int32_t n) {
    if ((which & kMovableBlocks) != 0) ENFailAllocAfter(n);
    if ((which & kHeapMemory) != 0) annotation::SetHeapFailAfter(n);
}

// Whether a failure armed for a kind in `which` has fired.
inline bool AllocationFailed(uint32_t which) {
    return ((which & kMovableBlocks) != 0 && ENFailPending() == 0) ||
           ((which & kHeapMemory) != 0 && !annotation::HeapFailPending());
}

// One run of a sweep.
struct SweepRun {
    int32_t n;        // allocations let through before the one that fails
    bool failed;      // the call reached the failure
    uint32_t result;  // what the call returned
};

}  // namespace testing_support

class MemorySweepTest : public AnnotationTest {
protected:
    void TearDown() override {
        testing_support::FailAllocationAfter(testing_support::kAnyMemory, -1);
        AnnotationTest::TearDown();
    }

    // For n = 0, 1, 2, ...: a fresh document (`document`, or the fixture's
    // default for null), `setup(hDoc)`, then `call(hDoc)` with the n-th
    // allocation of the kinds in `which` failing, then `check(hDoc, run)`
    // with memory back; until a run no longer reaches the failure. Every run
    // must leave nothing locked, misuse no handle and keep the list sound;
    // afterwards the document must take an annotation, and once it is taken
    // down no block may be left. Returns the number of runs that failed.
    template <typename Setup, typename Call, typename Check>
    int SweepAllocations(uint32_t which, const char* document, Setup setup, Call call, Check check) {
        using namespace testing_support;
        for (int32_t n = 0; n < 64; ++n) {
            SCOPED_TRACE(testing::Message() << "allocation " << n << " of the call fails");
            const uint32_t liveBefore = ENMemLiveBlocks();
            const uint32_t misuseBefore = ENMemMisuse();
            const uint32_t hDoc = document != nullptr ? AttachDoc(document) : AttachDoc();
            setup(hDoc);
            EXPECT_TRUE(ListIsSound(hDoc));
            FailAllocationAfter(which, n);
            const uint32_t result = call(hDoc);
            const bool failed = AllocationFailed(which);
            FailAllocationAfter(which, -1);
            EXPECT_EQ(ENMemLockedBlocks(), 0u) << "a block was left locked";
            EXPECT_EQ(ENModuleDataLocked(), 0u) << "module data was left locked";
            EXPECT_EQ(ENMemMisuse(), misuseBefore) << "a handle was misused";
            EXPECT_TRUE(ListIsSound(hDoc));
            check(hDoc, SweepRun{n, failed, result});
            // With memory back, the document takes annotations again.
            EXPECT_EQ(AddHilite(hDoc, 99, DocPos(3, 0), DocPos(3, 1)), 0u);
            EXPECT_TRUE(ListIsSound(hDoc));
            DetachDoc(hDoc);
            CloseDoc(hDoc);
            EXPECT_EQ(ENMemLiveBlocks(), liveBefore) << "blocks leaked";
            if (!failed) return n;
        }
        ADD_FAILURE() << "the call never got past its allocations";
        return -1;
    }

    // The sweep of the movable blocks on the default document, for a call
    // that answers ANERR_NOMEMORY when an allocation fails and 0 otherwise;
    // `check(hDoc, failed)`.
    template <typename Setup, typename Call, typename Check>
    int Sweep(Setup setup, Call call, Check check) {
        return SweepAllocations(testing_support::kMovableBlocks, nullptr, setup, call,
                                [&](uint32_t hDoc, const testing_support::SweepRun& run) {
                                    EXPECT_EQ(run.result, run.failed ? ANERR_NOMEMORY : 0u);
                                    check(hDoc, run.failed);
                                });
    }
};

#endif
