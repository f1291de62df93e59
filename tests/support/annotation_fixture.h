// The fixture of the module's tests: the strict engine, plus documents with
// annotation state attached that are taken down (ANDeInit) before the
// engine's final checks, so that a block that outlives ANDeInit fails the
// test.
#ifndef TESTS_SUPPORT_ANNOTATION_FIXTURE_H
#define TESTS_SUPPORT_ANNOTATION_FIXTURE_H

#include <cstdint>
#include <string>
#include <vector>

#include "annotation/annotation.h"
#include "annotation/handle_lock.h"
#include "annotation/store/anno_doc_info.h"
#include "annotation/store/doc_state.h"
#include "support/strict_engine.h"

class AnnotationTest : public StrictEngineTest {
protected:
    void TearDown() override {
        for (uint32_t hDoc : attached_) EXPECT_EQ(ANDeInit(hDoc), 0u);
        attached_.clear();
        EXPECT_EQ(ENModuleDataLocked(), 0u) << "module data was left locked";
        StrictEngineTest::TearDown();
    }

    // Opens a document and attaches annotation state to it; ANDeInit runs
    // after the test.
    uint32_t AttachDoc(const std::string& description = "Hello world\nSecond\n", uint32_t hGlobalStyles = 0,
                       AnnoCallback callback = nullptr, uint32_t callbackData = 0) {
        const uint32_t hDoc = OpenDoc(description);
        EXPECT_EQ(ANInit(hDoc, hGlobalStyles, callback, callbackData), 0u);
        attached_.push_back(hDoc);
        return hDoc;
    }

    // Takes a document's state down before the end of the test.
    void DetachDoc(uint32_t hDoc) {
        Forget(attached_, hDoc);
        EXPECT_EQ(ANDeInit(hDoc), 0u);
    }

    // The handle of the document's state, or 0.
    static uint32_t DocInfoHandle(uint32_t hDoc) {
        uint32_t hInfo = 0;
        return annotation::GetAnnoFromDoc(hDoc, &hInfo) == 0 ? hInfo : 0;
    }

    // A copy of the document's state block.
    static annotation::AnnoDocInfo DocInfo(uint32_t hDoc) {
        annotation::DocInfoLock info(DocInfoHandle(hDoc));
        EXPECT_TRUE(info);
        return info ? *info : annotation::AnnoDocInfo{};
    }

private:
    std::vector<uint32_t> attached_;
};

#endif
