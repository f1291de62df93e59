/* Data-access library: document handles, per-module data, options and
 * second openings of a document. Every call returns 0 on success or an error
 * code of the library, which the annotation module passes on unchanged. */
#ifndef PLATFORM_DATA_ACCESS_H
#define PLATFORM_DATA_ACCESS_H

#include "platform/platform_types.h"

PLATFORM_BEGIN_DECLS

/* Byte offset of the annotation module's slot (a u32 handle) in a document's
 * module data. */
#define DA_ANNO_SLOT_OFFSET 728u

/* Open kind of DAOpenDocument: a second document on an existing chunker;
 * `spec` points at a u32 holding the chunker handle. */
#define DA_OPEN_ON_CHUNKER 18u

/* Option 1 of DASetOption: the character set of a document's content. */
#define DA_OPTION_CHARSET 1u

/* The document's chunker; *phChunker is 0 for a document without one. */
PLATFORM_API uint32_t DAGetHChunker(uint32_t hDoc, uint32_t* phChunker);
/* The handle of the document's module data. */
PLATFORM_API uint32_t DARetrieveDocHandle(uint32_t hDoc, uint32_t* phDocData);
/* Writes the value of a document option (0 for an option never set). */
PLATFORM_API uint32_t DAGetOption(uint32_t hDocData, uint32_t option, uint32_t zero, uint32_t* pValue);
/* Pins the document's module data and gives its address. */
PLATFORM_API uint32_t DALockModuleData(uint32_t hDocData, void** ppModuleData);
/* Undoes one DALockModuleData. */
PLATFORM_API uint32_t DAUnlockModuleData(uint32_t hDocData);
/* Discards the document's module data (every module's slot reads 0 after). */
PLATFORM_API uint32_t DADestroyModuleData(uint32_t hDocData);
/* The handle stored in the annotation module's slot of the module data. */
PLATFORM_API uint32_t DAGetAnno(uint32_t hDoc, uint32_t* phAnnoDocInfo);
/* Opens a document; with kind DA_OPEN_ON_CHUNKER a second document on the
 * chunker that `spec` names. */
PLATFORM_API uint32_t DAOpenDocument(uint32_t* phDoc, uint32_t kind, const void* spec, uint32_t zero);
/* Sets an option of an opened document from `size` bytes at `pValue`. */
PLATFORM_API uint32_t DASetOption(uint32_t hDoc, uint32_t option, const void* pValue, uint32_t size);
/* Closes a document opened with DAOpenDocument. */
PLATFORM_API uint32_t DACloseDocument(uint32_t hDoc);

PLATFORM_END_DECLS

#endif
