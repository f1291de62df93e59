/* Attaches annotation state to a stand-in document and takes it down again,
 * through the installed headers and libraries only. Written in C to prove
 * the header is usable from C. */
#include <stdio.h>
#include <string.h>

#include <annotation/annotation.h>
#include <engine/engine.h>
#include <platform/data_access.h>

int main(void) {
    const char* description = "Installed and working\n";
    uint32_t hDoc = 0;
    uint32_t hStyles = 0;
    uint32_t hInfo = 0;
    HiliteStyle style = {28, 1, ANHS_COLOR1ON, 0xFF, 0, 0, 0, 0};
    if (ENOpenDocument(description, (uint32_t)strlen(description), 0, &hDoc) != 0) return 1;
    if (ANInitGlobalHiliteStyles(&hStyles) != 0) return 2;
    if (ANAddGlobalHiliteStyle(hStyles, &style) != 0) return 3;
    if (ANInit(hDoc, hStyles, NULL, 0) != 0) return 4;
    if (DAGetAnno(hDoc, &hInfo) != 0 || hInfo == 0) return 5;
    if (ANGetHiliteStyle(hDoc, 1, NULL) != 1) return 6;
    if (ANDeInit(hDoc) != 0) return 7;
    if (DAGetAnno(hDoc, &hInfo) != 0 || hInfo != 0) return 8;
    if (ANDeInitGlobalHiliteStyles(hStyles) != 0) return 9;
    if (ENCloseDocument(hDoc) != 0) return 10;
    if (ENMemLiveBlocks() != 0) return 11;
    printf("consumer: ANInit/ANDeInit on an installed copy: ok\n");
    return 0;
}
