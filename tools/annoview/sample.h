// The sample annoview shows when it is given no files: a short document and
// a script that uses every kind of annotation, named styles from both
// tables, marked ranges, a removal by mask, finding and pointer events.
// Compiled in, so that the sample runs from any directory.
#ifndef TOOLS_ANNOVIEW_SAMPLE_H
#define TOOLS_ANNOVIEW_SAMPLE_H

namespace annoview {

inline constexpr const char* kSampleDocument =
    "A fox in the viewer\n"
    "The quick brown fox jumps over the lazy dog.{item 8} A {mark 0x81000000}marked phrase{/mark 0x81000000} "
    "comes from the document itself.\n"
    "Hidden words vanish from the page, and two paragraphs can join\n"
    "into one. Here is {mark 0x84000010}another marked range{/mark 0x84000010} and one more fox.\n"
    "The end.\n";

inline constexpr const char* kSampleScript =
    "# Named styles: two in the global table, one in the document's own.\n"
    "style global 0x1000 color1 #ffe08a\n"
    "style global 0x1001 color1 #b5e3b5 color2 #0b3d0b\n"
    "style doc 7 color1 #ffd1dc color2 #8b0000\n"
    "\n"
    "# Every fox, in the document's style 7; the title in direct colours.\n"
    "hilite \"fox\" style 7 id 1\n"
    "hilite 0..19 color 15 4 id 2\n"
    "# Hidden text, and a hidden paragraph break that joins two paragraphs.\n"
    "hide \"vanish from the page, and \" id 3\n"
    "hidebreak end \"can join\" id 4\n"
    "# Objects, inserted text and an inserted paragraph break.\n"
    "icon \"quick\" 7 id 0x100\n"
    "bitmap \"lazy\" 42 id 0x101\n"
    "insert end \"quick brown\" \" and clever\" id 5\n"
    "break \"Here is\" id 6\n"
    "# The document's marked ranges become hilites in the global styles.\n"
    "build\n"
    "show\n"
    "\n"
    "# Questions a viewer asks.\n"
    "find first\n"
    "find at \"marked phrase\"\n"
    "find next \"fox\" id 1\n"
    "# The pointer moves over the text, then clicks a fox.\n"
    "event move \"quick\"\n"
    "event move \"lazy\"\n"
    "event move \"The end\"\n"
    "event hit \"fox\"\n"
    "\n"
    "# Remove both objects by mask, and copy what is left to a second document.\n"
    "clear mask 0x100\n"
    "copy\n"
    "show copy\n";

}  // namespace annoview

#endif
