// Handles of every sort the engine hands out: documents, chunkers, module
// data, content streams and memory blocks.
//
// All sorts draw from one counter, so a handle is nonzero, never reused while
// the process lives, and never valid as a handle of another sort: a caller
// that passes a document handle where a chunker is expected gets an error
// instead of a lucky answer.
#ifndef ENGINE_HANDLES_H
#define ENGINE_HANDLES_H

#include <cstdint>

namespace engine {

// The next unused handle. Aborts the process when the 32-bit space is spent,
// since handing out a used handle again would break the promise above.
std::uint32_t NewHandle();

}  // namespace engine

#endif
