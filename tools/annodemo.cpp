// annodemo: the module's first steps on a stand-in document.
//
// Opens the bundled sample (or the description file given), attaches
// annotation state with a global hilite style table, adds a per-document
// style that overrides a global one, and shows how the document resolves
// style ids and orders positions. The full viewer, annoview, grows out of it.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>

#include "annotation/annotation.h"
#include "engine/engine.h"
#include "platform/chunker.h"
#include "platform/data_access.h"

namespace {

const char kSample[] =
    "Annotations live beside the document, never in it.\n"
    "They hilite, hide and insert.\n";

void ShowStyle(uint32_t hDoc, uint32_t id) {
    HiliteStyle style{};
    if (ANGetHiliteStyle(hDoc, id, &style) == 1) {
        std::printf("  style %u: colour 0x%06X%s\n", id, style.color1,
                    (style.flags & ANHS_COLOR1ON) != 0 ? "" : " (off)");
    } else {
        std::printf("  style %u: not defined\n", id);
    }
}

}  // namespace

int main(int argc, char** argv) {
    std::string description = kSample;
    if (argc > 1) {
        std::ifstream file(argv[1], std::ios::binary);
        if (!file) {
            std::fprintf(stderr, "%s: cannot read\n", argv[1]);
            return 2;
        }
        std::ostringstream text;
        text << file.rdbuf();
        description = text.str();
    }

    uint32_t hDoc = 0;
    if (ENOpenDocument(description.data(), static_cast<uint32_t>(description.size()), 0, &hDoc) != 0) {
        std::fprintf(stderr, "%s: %s\n", argc > 1 ? argv[1] : "sample", ENLastError());
        return 2;
    }
    uint32_t hStyles = 0;
    ANInitGlobalHiliteStyles(&hStyles);
    const HiliteStyle warning{28, 1, ANHS_COLOR1ON, 0x0000FF, 0, 0, 0, 0};
    const HiliteStyle note{28, 2, ANHS_COLOR1ON, 0x00FF00, 0, 0, 0, 0};
    ANAddGlobalHiliteStyle(hStyles, &warning);
    ANAddGlobalHiliteStyle(hStyles, &note);

    std::printf("ANInit: %u\n", ANInit(hDoc, hStyles, nullptr, 0));
    const HiliteStyle ownNote{28, 2, ANHS_COLOR1ON, 0xFFFF00, 0, 0, 0, 0};
    std::printf("ANAddHiliteStyle: %u\n", ANAddHiliteStyle(hDoc, &ownNote));
    std::printf("Styles as the document sees them:\n");
    for (uint32_t id = 1; id <= 3; ++id) ShowStyle(hDoc, id);

    uint32_t hChunker = 0;
    uint32_t items = 0;
    DAGetHChunker(hDoc, &hChunker);
    CHGetItemCount(hChunker, CH_KIND_ITEM, &items);
    std::printf("The document holds %u items.\n", items);

    const AnnoPos whole{0, 0xFFFFFFFF, 0, 0};
    const AnnoPos first{0, 0, 0, 0};
    const AnnoPos inserted{0, 0, ANPOS_ANNOTEXT, 3};
    std::printf("Order: whole item %d first character, inserted text %d first character\n",
                ANCompPos(&whole, &first), ANCompPos(&inserted, &first));

    std::printf("ANDeInit: %u\n", ANDeInit(hDoc));
    ANDeInitGlobalHiliteStyles(hStyles);
    ENCloseDocument(hDoc);
    return 0;
}
