// Content streams (CA*): reading a document's content record by record.
//
// A stream delivers, chunk by chunk and in item order, a text record per
// text item, region start and end records where the description has them,
// and a chunk-end record (type 5) after each chunk; after the last chunk's
// chunk-end record a read fails with 25. The stream reads the document as it
// is at each read, so text appended later shows up in chunks not yet read.
//
// A stream stays open until CACloseContent or until the first opening of its
// document is closed with ENCloseDocument. Closing a second opening with
// DACloseDocument leaves its streams open but unreadable (every read answers
// 15), so a reader that forgets CACloseContent still shows in
// ENOpenContents.
#ifndef ENGINE_CONTENT_STREAM_H
#define ENGINE_CONTENT_STREAM_H

#include <cstdint>

namespace engine {

// Closes every content stream opened on the document `hFirstOpening` or on
// any second opening of it, open or already closed.
void CloseContentsOf(std::uint32_t hFirstOpening);

}  // namespace engine

#endif
