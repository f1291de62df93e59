/* libannotation: annotations over the documents of a document-viewing engine.
 *
 * For every open document the module keeps, in memory only, a list of
 * annotations anchored at document positions: hilites (direct colours or
 * named styles), hidden text and hidden paragraph breaks, and inserted icons,
 * bitmaps, text and paragraph breaks. A viewer attaches the state to a
 * document (ANInit), adds, removes, copies and finds annotations and passes
 * pointer events; a display engine walks the positions of the document in
 * reading order, inserted text included, and asks at each what to hide,
 * highlight or insert.
 *
 * Usable from C and C++. Every function returns a u32 result code unless its
 * comment says otherwise: 0 on success, or one of the ANERR_* codes below, or
 * an error code of the engine's data-access library passed on unchanged.
 *
 * Sizes and targets. Records are laid out for a 32-bit target, and every
 * record that holds no pointer has the same layout and size on a 64-bit one;
 * a static assertion beside each record checks its size on every target.
 * Handles (of documents, movable memory blocks, style tables) are 32-bit on
 * every target, and so is every word that may carry one (userData,
 * callbackData): on a 64-bit target none of them can carry a pointer. A field
 * that carries a pointer is pointer-sized: the text pointer of InsertTextAnno
 * (so its accepted size is sizeof(InsertTextAnno): 36 bytes on a 32-bit
 * target, 48 on a 64-bit one) and the AnnoCallback. Structures are
 * little-endian 32-bit words unless a field says otherwise.
 *
 * Threads: the module starts no thread, takes no lock of its own and keeps no
 * mutable global data. Calls on one document must not overlap.
 */
#ifndef ANNOTATION_ANNOTATION_H
#define ANNOTATION_ANNOTATION_H

#include <stddef.h>
#include <stdint.h>

#if defined(ANNOTATION_BUILDING_LIBRARY) && (defined(__GNUC__) || defined(__clang__))
#define AN_API __attribute__((visibility("default")))
#else
#define AN_API
#endif

/* The layout check beside each record, in C11 or C++. */
#ifdef __cplusplus
#define AN_STATIC_ASSERT(cond, msg) static_assert(cond, msg)
#else
#define AN_STATIC_ASSERT(cond, msg) _Static_assert(cond, msg)
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ------------------------------------------------------------------------ */
/* Result codes                                                             */
/* ------------------------------------------------------------------------ */

#define ANERR_NOMEMORY 13u   /* an allocation failed, or the list is full or busy */
#define ANERR_BADPARAM 15u   /* null handle or pointer, unknown kind or mode, refused size */
#define ANERR_NOANNODATA 18u /* the document has no annotation state */
#define ANERR_NOTFOUND 25u   /* nothing found, no further position, no inserted text */

/* ------------------------------------------------------------------------ */
/* Annotation kinds                                                         */
/* ------------------------------------------------------------------------ */

#define ANNO_HILITETEXT 1u
#define ANNO_INSERTICON 2u
#define ANNO_HIDETEXT 3u
#define ANNO_INSERTBITMAP 4u
#define ANNO_INSERTTEXT 5u
#define ANNO_INSERTPARABREAK 6u
#define ANNO_HIDEPARABREAK 7u

/* ------------------------------------------------------------------------ */
/* Positions                                                                */
/* ------------------------------------------------------------------------ */

/* posType of a text position: a character of the text that annotations
 * insert at (itemId, subItemId). Every other value is a document position. */
#define ANPOS_ANNOTEXT 5u

/* A document position. subItemId 0xFFFFFFFF stands for the item as a whole.
 * textOffset is the offset in the combined inserted text of the anchor
 * (itemId, subItemId) when posType is ANPOS_ANNOTEXT, and is not compared
 * otherwise. */
typedef struct AnnoPos {
    uint32_t itemId;
    uint32_t subItemId;
    uint32_t posType;
    uint32_t textOffset;
} AnnoPos;

AN_STATIC_ASSERT(sizeof(AnnoPos) == 16, "AnnoPos is 16 bytes");

/* ------------------------------------------------------------------------ */
/* Annotations                                                              */
/* ------------------------------------------------------------------------ */

/* One annotation in internal form: what callbacks receive (code 1 added,
 * code 2 removed) and what the module stores. Always 72 bytes; `size` is the
 * size of the kind's internal form (60 for kinds 1, 2, 4; 56 for 3, 6, 7; 72
 * for 5) and only the first `size` bytes are meaningful. `end` is exclusive
 * and never before `start` once stored. For kind 5, hText is the movable
 * handle of the text (textLen 16-bit characters, room for textCap). Every
 * field is 32-bit on every target: userData of kinds 1, 3 and 5 is, by
 * contract, a movable memory handle (ANClearUserData frees it), never a
 * pointer. */
typedef struct InternalAnno {
    uint32_t size;
    uint32_t userId;
    AnnoPos start;
    AnnoPos end;
    uint32_t eventMask;
    uint32_t userData;
    uint32_t reserved1;
    uint32_t reserved2;
    uint32_t displayData;
    uint32_t textLen;
    uint32_t hText;
    uint32_t textCap;
} InternalAnno;

AN_STATIC_ASSERT(sizeof(InternalAnno) == 72, "InternalAnno is 72 bytes");

/* The caller's structures for ANAddAnno. The first word is always the size in
 * bytes; each kind accepts the sizes listed, shorter forms being passed as
 * word arrays whose first word is that size.
 *
 * HiliteTextAnno (ANNO_HILITETEXT): 60 bytes as declared, or 48 bytes: words
 * 0-10 as declared, word 11 the hilite style word. The 60-byte form is, word
 * for word, the first fifteen words of InternalAnno. */
typedef struct HiliteTextAnno {
    uint32_t size; /* 60 */
    uint32_t userId;
    AnnoPos start;
    AnnoPos end;
    uint32_t eventMask;
    uint32_t userData;
    uint32_t reserved1;
    uint32_t reserved2;
    uint32_t displayData; /* the hilite style word (ANHILITE_*) */
} HiliteTextAnno;

AN_STATIC_ASSERT(sizeof(HiliteTextAnno) == 60, "HiliteTextAnno is 60 bytes");

/* InsertIconAnno (ANNO_INSERTICON): 60 bytes as declared (`end` is not used),
 * or 24 bytes: word 0 size, 1 userId, 2 start.itemId (the other words of the
 * start are 0), 3 not used, 4 eventMask, 5 the icon value. */
typedef struct InsertIconAnno {
    uint32_t size; /* 60 */
    uint32_t userId;
    AnnoPos start;
    AnnoPos end; /* not used: a point annotation ends one position after start */
    uint32_t eventMask;
    uint32_t userData;
    uint32_t reserved1;
    uint32_t reserved2;
    uint32_t displayData; /* the icon value */
} InsertIconAnno;

AN_STATIC_ASSERT(sizeof(InsertIconAnno) == 60, "InsertIconAnno is 60 bytes");

/* HideTextAnno (ANNO_HIDETEXT): 44 bytes as declared; also 48 bytes (word 10
 * not used, word 11 userData) and 40 bytes (no userData). 56 is refused. */
typedef struct HideTextAnno {
    uint32_t size; /* 44 */
    uint32_t userId;
    AnnoPos start;
    AnnoPos end;
    uint32_t userData;
} HideTextAnno;

AN_STATIC_ASSERT(sizeof(HideTextAnno) == 44, "HideTextAnno is 44 bytes");

/* InsertBitmapAnno (ANNO_INSERTBITMAP): 60 bytes only. */
typedef struct InsertBitmapAnno {
    uint32_t size; /* 60 */
    uint32_t userId;
    AnnoPos start;
    AnnoPos end; /* not used */
    uint32_t eventMask;
    uint32_t userData;
    uint32_t reserved1;
    uint32_t reserved2;
    uint32_t displayData; /* the bitmap value */
} InsertBitmapAnno;

AN_STATIC_ASSERT(sizeof(InsertBitmapAnno) == 60, "InsertBitmapAnno is 60 bytes");

/* InsertTextAnno (ANNO_INSERTTEXT): the one record whose layout depends on
 * the target. On a 32-bit target it is nine words, 36 bytes: the text
 * pointer is word 7 and textLen word 8. On a 64-bit target the text pointer
 * widens to 8 bytes and is 8-byte aligned: 4 bytes of padding after
 * userData, the pointer at byte 32, textLen at byte 40 and 4 bytes of tail
 * padding, 48 bytes. The size word must be sizeof(InsertTextAnno) of the
 * library's own target: 36 on a 32-bit one, 48 on a 64-bit one; the other
 * value is refused with ANERR_BADPARAM. The text is textLen 16-bit
 * characters (uint16_t, or char16_t in C++) without terminator, read during
 * the call only; the module keeps its own copy. */
typedef struct InsertTextAnno {
    uint32_t size; /* sizeof(InsertTextAnno) */
    uint32_t userId;
    AnnoPos start;
    uint32_t userData;
    const void* text; /* textLen 16-bit characters */
    uint32_t textLen;
} InsertTextAnno;

AN_STATIC_ASSERT(sizeof(InsertTextAnno) == (sizeof(void*) == 4 ? 36 : 48),
                 "InsertTextAnno is 36 bytes with 32-bit pointers, 48 with 64-bit ones");
AN_STATIC_ASSERT(offsetof(InsertTextAnno, text) == (sizeof(void*) == 4 ? 28 : 32),
                 "the text pointer follows userData: word 7, or byte 32 after padding");
AN_STATIC_ASSERT(offsetof(InsertTextAnno, textLen) == (sizeof(void*) == 4 ? 32 : 40),
                 "textLen follows the text pointer: word 8, or byte 40");

/* ParaBreakAnno (ANNO_INSERTPARABREAK and ANNO_HIDEPARABREAK): 28 bytes. */
typedef struct ParaBreakAnno {
    uint32_t size; /* 28 */
    uint32_t userId;
    AnnoPos start;
    uint32_t userData;
} ParaBreakAnno;

AN_STATIC_ASSERT(sizeof(ParaBreakAnno) == 28, "ParaBreakAnno is 28 bytes");

/* User-id selection, for ANClearAnnos and ANFindAnno. */
#define ANMATCH_ALLBITS 0x1000u /* every bit of the value is set in userId */
#define ANMATCH_USERID 0x2000u  /* userId equals the value */

/* ------------------------------------------------------------------------ */
/* Client callback                                                          */
/* ------------------------------------------------------------------------ */

/* Called synchronously from inside the call that triggers it, with the
 * document's state locked. code 1: an annotation was added (arg = kind,
 * record = InternalAnno as the caller gave it; return value ignored). code 2:
 * an annotation was removed (arg = kind, record = its InternalAnno; the
 * return value becomes the result of ANClearAnnos). code 3: a pointer event
 * (arg = 1 when the annotation's eventMask selects the event, record =
 * AnnoEventInfo; the return value becomes the result of ANAnnoEvent). The
 * record is valid only during the call.
 *
 * The code-1 record of an ANNO_INSERTTEXT annotation carries the caller's
 * text pointer: in displayData on a 32-bit target; on a 64-bit target, where
 * the word cannot hold it, displayData is 0 and the pointer is the
 * pointer-sized word at byte 72, right behind the InternalAnno. On both the
 * record is 72 bytes plus that pointer: 76 bytes on a 32-bit target, 80 on a
 * 64-bit one.
 *
 * The callback itself is a pointer-sized function pointer, kept in the
 * document's state; callbackData is a 32-bit word on every target, so on a
 * 64-bit one it passes a handle or an index back, not a pointer.
 *
 * From inside a callback, calls that would change the same document's list
 * while the module walks it (ANAddAnno or ANClearAnnos from a code-2
 * callback) return ANERR_NOMEMORY, and ANDeInit of that document returns
 * ANERR_NOMEMORY; both change nothing. */
typedef uint32_t (*AnnoCallback)(uint32_t code, uint32_t arg, void* record, uint32_t callbackData);

/* ------------------------------------------------------------------------ */
/* Hilite styles                                                            */
/* ------------------------------------------------------------------------ */

/* The hilite style word (displayData of a hilite). With ANHILITE_BYSTYLE,
 * bits 0-15 are the id of a HiliteStyle, looked up in the document's table
 * and then in the global one. Otherwise bits 4-7 index gColorMap for colour 1
 * and bits 0-3 for colour 2, unless ANHILITE_NOCOLOR1 / ANHILITE_NOCOLOR2. */
#define ANHILITE_BYSTYLE 0x40000000u
#define ANHILITE_NOCOLOR1 0x20000000u
#define ANHILITE_NOCOLOR2 0x10000000u

/* HiliteStyle.flags */
#define ANHS_COLOR1ON 0x1u
#define ANHS_COLOR2ON 0x2u
#define ANHS_EXTRAON 0x4u

/* A named hilite look. Colours are red + 256 * green + 65536 * blue. The add
 * operations accept size 28, and 24 (the short form: the same fields up to
 * attr1; stored with size 28 and attr2 0xFFFF). */
typedef struct HiliteStyle {
    uint32_t size; /* 28 */
    uint32_t id;
    uint32_t flags; /* ANHS_* */
    uint32_t color1;
    uint32_t color2;
    uint16_t attr1;
    uint16_t attr2;
    uint32_t reserved; /* stored and handed back unchanged */
} HiliteStyle;

AN_STATIC_ASSERT(sizeof(HiliteStyle) == 28, "HiliteStyle is 28 bytes");

/* ------------------------------------------------------------------------ */
/* Finding                                                                  */
/* ------------------------------------------------------------------------ */

/* Search modes: bits 0-7 of AnnoFindInfo.searchFlags. */
#define ANFIND_FIRST 1u
#define ANFIND_LAST 2u
#define ANFIND_PREV 3u
#define ANFIND_NEXT 4u
#define ANFIND_FROM 5u
#define ANFIND_AT 6u

/* Option of ANFindAnno, read in mode ANFIND_NEXT: start after foundEnd. */
#define ANFIND_AFTERFOUND 0x1u

typedef struct AnnoFindInfo {
    uint32_t size;        /* in: 68 */
    uint32_t searchFlags; /* in: mode | ANMATCH_ALLBITS / ANMATCH_USERID */
    uint32_t matchId;     /* in */
    AnnoPos pos;          /* in: reference position of modes 3 to 6 */
    uint32_t foundUserId; /* out */
    AnnoPos foundStart;   /* out */
    AnnoPos foundEnd;     /* out; in for ANFIND_NEXT with ANFIND_AFTERFOUND */
    uint32_t foundUserData; /* out */
} AnnoFindInfo;

AN_STATIC_ASSERT(sizeof(AnnoFindInfo) == 68, "AnnoFindInfo is 68 bytes");

/* ------------------------------------------------------------------------ */
/* Events                                                                   */
/* ------------------------------------------------------------------------ */

#define ANEVENT_HIT1 1u
#define ANEVENT_HIT2 2u
#define ANEVENT_ENTER 4u  /* reported from a move; not accepted as an argument */
#define ANEVENT_LEAVE 8u  /* reported from a move; not accepted as an argument */
#define ANEVENT_MOVE 16u
#define ANEVENT_HIT32 32u

/* The record of a code-3 callback. */
typedef struct AnnoEventInfo {
    uint32_t size; /* 16 */
    uint32_t event;
    uint32_t userId;
    uint32_t userData;
} AnnoEventInfo;

AN_STATIC_ASSERT(sizeof(AnnoEventInfo) == 16, "AnnoEventInfo is 16 bytes");

/* ------------------------------------------------------------------------ */
/* Tracking                                                                 */
/* ------------------------------------------------------------------------ */

/* Result bits of ANTrackAnno. */
#define ANTRACK_HIDE 0x01u
#define ANTRACK_HILITE 0x02u
#define ANTRACK_ICON 0x04u
#define ANTRACK_BITMAP 0x08u
#define ANTRACK_HIDEPARABREAK 0x10u
#define ANTRACK_INSERTTEXT 0x20u

/* The caller's record of one layout pass. nextNode, hiliteNode and nextChange
 * are the module's bookkeeping: leave them alone between calls. */
typedef struct AnnoTrackInfo {
    uint16_t hidden;
    uint16_t paraBreakHidden;
    uint16_t color1On;
    uint16_t color2On;
    uint16_t extraOn;
    uint16_t unused;
    uint32_t color1;
    uint32_t color2;
    uint32_t objectData;
    uint16_t nextNode;
    uint16_t hiliteNode;
    AnnoPos nextChange;
    uint32_t attr1;
    uint32_t attr2;
    uint32_t hText;
    uint32_t textLen;
    uint32_t userData;
} AnnoTrackInfo;

AN_STATIC_ASSERT(sizeof(AnnoTrackInfo) == 64, "AnnoTrackInfo is 64 bytes");
AN_STATIC_ASSERT(offsetof(AnnoTrackInfo, color1) == 12, "AnnoTrackInfo: 2 bytes unused after extraOn");
AN_STATIC_ASSERT(offsetof(AnnoTrackInfo, nextChange) == 28, "AnnoTrackInfo: nextChange at 28");

/* ------------------------------------------------------------------------ */
/* Annotation text                                                          */
/* ------------------------------------------------------------------------ */

/* The caller's record for reading inserted text; hCache is owned by it
 * between ANStartAnnoTextTrack and ANEndAnnoTextTrack. */
typedef struct AnnoTextTrack {
    uint32_t hCache;
    AnnoPos first;
    AnnoPos last;
} AnnoTextTrack;

AN_STATIC_ASSERT(sizeof(AnnoTextTrack) == 36, "AnnoTextTrack is 36 bytes");

/* ------------------------------------------------------------------------ */
/* Position mapping                                                         */
/* ------------------------------------------------------------------------ */

#define ANMAP_ACCTOPOS 0x1u /* from acc to pos (wins when both are set) */
#define ANMAP_POSTOACC 0x2u /* from pos to acc */

typedef struct AnnoMapPosition {
    uint32_t size;  /* 28 */
    uint32_t flags; /* ANMAP_* */
    AnnoPos pos;    /* only itemId and subItemId are read or written */
    uint32_t acc;
} AnnoMapPosition;

AN_STATIC_ASSERT(sizeof(AnnoMapPosition) == 28, "AnnoMapPosition is 28 bytes");

/* ------------------------------------------------------------------------ */
/* Attachment                                                               */
/* ------------------------------------------------------------------------ */

/* Attaches annotation state to a document, with the global hilite style
 * table (0 for none), the callback (may be null) and the value passed back
 * to it. A second ANInit replaces the state the document had (without
 * freeing it: call ANDeInit first).
 * Results: 0 (also for hDoc 0 or a document without chunker: nothing is then
 * created); ANERR_NOMEMORY; an error of the data-access library. When the
 * data-access library fails after the state was made, the state is freed:
 * a failed ANInit leaves nothing allocated. */
AN_API uint32_t ANInit(uint32_t hDoc, uint32_t hGlobalHiliteStyles, AnnoCallback callback,
                       uint32_t callbackData);

/* Frees the document's annotation state: the list, inserted texts, position
 * maps, the document's style table, the second opening of the document. Not
 * the userData handles (ANClearUserData) nor the global style table.
 * Results: 0 (also when the document had no state); ANERR_BADPARAM for hDoc
 * 0; an error of the data-access library; ANERR_NOMEMORY, with the state
 * kept whole and attached, when the list or the style table cannot be
 * locked (or from inside a callback). */
AN_API uint32_t ANDeInit(uint32_t hDoc);

/* Frees the userData handles of hilite, hide-text and insert-text
 * annotations, each distinct handle once; every userData that held a freed
 * handle is set to 0, so a second call frees nothing twice.
 * Results: 0; ANERR_BADPARAM for hDoc 0; an error of DARetrieveDocHandle. */
AN_API uint32_t ANClearUserData(uint32_t hDoc);

/* Replaces the callback (null turns notifications off) and its value.
 * Results: 0; ANERR_BADPARAM; ANERR_NOANNODATA; a data-access error. */
AN_API uint32_t ANSetCallback(uint32_t hDoc, AnnoCallback callback, uint32_t callbackData);

/* ------------------------------------------------------------------------ */
/* Adding, removing, copying, building                                      */
/* ------------------------------------------------------------------------ */

/* Adds an annotation of `kind` from one of the caller structures above; the
 * structure is only read. The callback hears code 1 with the record.
 * Results: 0; ANERR_BADPARAM (unknown kind, refused size, null structure, hDoc
 * 0); ANERR_NOANNODATA; ANERR_NOMEMORY (out of memory, or the list is full);
 * a data-access error. */
AN_API uint32_t ANAddAnno(uint32_t hDoc, uint16_t kind, const void* annoStruct);

/* Removes every annotation whose userId matches: flags 0, every userId that
 * is not negative as a signed number; ANMATCH_USERID, userId == value;
 * ANMATCH_ALLBITS (without ANMATCH_USERID), every bit of value set in userId;
 * any other nonzero flags, none. The callback hears code 2 for each.
 * Results: 0; ANERR_NOMEMORY (joining texts failed); the last callback's
 * return value; ANERR_BADPARAM, ANERR_NOANNODATA or a data-access error. */
AN_API uint32_t ANClearAnnos(uint32_t hDoc, uint16_t flags, uint32_t value);

/* Copies every annotation and the per-document hilite styles of hSrcDoc into
 * hDestDoc, without notification. Nothing is copied from a document without
 * annotations, not even its styles.
 * Results: 0; ANERR_BADPARAM, ANERR_NOANNODATA or a data-access error for
 * either document; ANERR_BADPARAM, nothing changed, when both are the same
 * document. */
AN_API uint32_t ANCopyAnnos(uint32_t hDestDoc, uint32_t hSrcDoc);

/* Turns the ranges that the document marks into hilites (userId with the top
 * bit set), examining only ranges reported since the last call.
 * Results: 0; ANERR_BADPARAM, ANERR_NOANNODATA or a data-access error. */
AN_API uint32_t ANBuildAnnos(uint32_t hDoc);

/* ------------------------------------------------------------------------ */
/* Hilite style tables                                                      */
/* ------------------------------------------------------------------------ */

/* Creates an empty style table; *phStyles = its handle (0 on failure).
 * Results: 0; ANERR_BADPARAM for a null phStyles; ANERR_NOMEMORY. */
AN_API uint32_t ANInitGlobalHiliteStyles(uint32_t* phStyles);

/* Frees a style table and its records. Every document given the table must
 * have been taken down with ANDeInit first.
 * Results: 0; ANERR_BADPARAM for hStyles 0 or a handle that names no block. */
AN_API uint32_t ANDeInitGlobalHiliteStyles(uint32_t hStyles);

/* Adds a style to a table, or replaces the one with the same id in its slot.
 * pStyle must point to a readable record of `size` (28 or 24) bytes.
 * Results: 0; ANERR_BADPARAM (hStyles 0, size neither 28 nor 24);
 * ANERR_NOMEMORY (the table is then unchanged). */
AN_API uint32_t ANAddGlobalHiliteStyle(uint32_t hStyles, const HiliteStyle* pStyle);

/* Copies the style with that id into *pStyle (28 bytes); a null pStyle only
 * asks whether it is there.
 * Results: 0; ANERR_BADPARAM for hStyles 0; ANERR_NOTFOUND. */
AN_API uint32_t ANGetGlobalHiliteStyle(uint32_t hStyles, uint32_t id, HiliteStyle* pStyle);

/* ANAddGlobalHiliteStyle on the document's own table.
 * Results: as ANAddGlobalHiliteStyle; ANERR_BADPARAM also for hDoc 0 or a
 * document whose table could not be made; ANERR_NOANNODATA; a data-access
 * error. */
AN_API uint32_t ANAddHiliteStyle(uint32_t hDoc, const HiliteStyle* pStyle);

/* Looks a style up in the document's table, then in the global table.
 * Returns 1 when found (and copied to a non-null pStyle), else 0 — also for
 * every failure. Not a result code. */
AN_API uint32_t ANGetHiliteStyle(uint32_t hDoc, uint32_t id, HiliteStyle* pStyle);

/* ------------------------------------------------------------------------ */
/* Positions                                                                */
/* ------------------------------------------------------------------------ */

/* The total order of positions: -1, 0 or 1 (a before, equal to, after b).
 * No document. Not a result code; 0 when either pointer is null. */
AN_API int16_t ANCompPos(const AnnoPos* a, const AnnoPos* b);

/* 1 when pos->posType is ANPOS_ANNOTEXT, else 0. Not a result code. */
AN_API uint32_t ANIsAnnoTextPos(const AnnoPos* pos);

/* The next position in reading order, inserted text included. `next` may be
 * `pos` (stepping in place) and is written only on success.
 * Results: 0; ANERR_NOTFOUND (no further position, or no state). */
AN_API uint32_t ANNextPos(uint32_t hDoc, const AnnoPos* pos, AnnoPos* next);

/* The next document position, ignoring inserted text. `next` must differ
 * from `pos`; it is cleared first.
 * Results: 0; ANERR_NOTFOUND; ANERR_BADPARAM, ANERR_NOANNODATA or a
 * data-access error. */
AN_API uint32_t ANNextChunkerPos(uint32_t hDoc, const AnnoPos* pos, AnnoPos* next);

/* The next text position of inserted text after pos. `next` is written only
 * on success.
 * Results: 0; ANERR_NOTFOUND; ANERR_BADPARAM, ANERR_NOANNODATA or a
 * data-access error. */
AN_API uint32_t ANNextAnnoTextPos(uint32_t hDoc, const AnnoPos* pos, AnnoPos* next);

/* Translates between a character count (ACC) and a position, in the direction
 * req->flags gives. req->size must be 28.
 * Results: 0; ANERR_BADPARAM; ANERR_NOANNODATA; ANERR_NOTFOUND;
 * ANERR_NOMEMORY; a data-access error. */
AN_API uint32_t ANMapPosition(uint32_t hDoc, AnnoMapPosition* req);

/* ------------------------------------------------------------------------ */
/* Display services                                                         */
/* ------------------------------------------------------------------------ */

/* Finds one annotation as info->searchFlags says and fills the found fields.
 * Results: 0; ANERR_NOTFOUND; ANERR_BADPARAM (size not 68, hDoc 0);
 * ANERR_NOANNODATA; a data-access error. */
AN_API uint32_t ANFindAnno(uint32_t hDoc, uint16_t options, AnnoFindInfo* info);

/* Passes a pointer event at pos; startNode is a list slot at or before the
 * first annotation covering pos (0xFFFF: none there). Returns the last
 * callback's return value, or 0 when none was called. Not a result code. */
AN_API uint32_t ANAnnoEvent(uint32_t hDoc, uint32_t event, uint16_t startNode, const AnnoPos* pos);

/* Starts a layout pass at pos. Returns 0 (nothing to track), 1 (every
 * annotation ends before pos) or 2 (call ANTrackAnno from pos on). Not a
 * result code. */
AN_API uint32_t ANStartAnnoTrack(uint32_t hDoc, const AnnoPos* pos, AnnoTrackInfo* info);

/* At each position of the pass, in ascending order: the ANTRACK_* bits of
 * what changed in *info (0 when nothing did, also on failure). Not a result
 * code. */
AN_API uint32_t ANTrackAnno(uint32_t hDoc, const AnnoPos* pos, AnnoTrackInfo* info);

/* Ends a layout pass. Always 0. */
AN_API uint32_t ANEndAnnoTrack(uint32_t hDoc, AnnoTrackInfo* info);

/* Prepares a text-track record. Results: 0; ANERR_NOMEMORY (the record is
 * then all 0). */
AN_API uint32_t ANStartAnnoTextTrack(uint32_t hDoc, AnnoTextTrack* track);

/* The character of inserted text at a text position: ANNO_INSERTTEXT (5)
 * with the character in *pChar, ANNO_INSERTPARABREAK (6) with 0 in *pChar for
 * a paragraph break; or ANERR_NOTFOUND, ANERR_NOMEMORY, ANERR_BADPARAM (hDoc
 * 0), ANERR_NOANNODATA, a data-access error. */
AN_API uint32_t ANGetAnnoText(uint32_t hDoc, AnnoTextTrack* track, const AnnoPos* pos, uint16_t* pChar);

/* Releases a text-track record. Always 0. */
AN_API uint32_t ANEndAnnoTextTrack(uint32_t hDoc, AnnoTextTrack* track);

#ifdef __cplusplus
} /* extern "C" */
#endif

#undef AN_STATIC_ASSERT

#endif /* ANNOTATION_ANNOTATION_H */
