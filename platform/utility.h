/* Utility library: facts about the operating system. */
#ifndef PLATFORM_UTILITY_H
#define PLATFORM_UTILITY_H

#include "platform/platform_types.h"

PLATFORM_BEGIN_DECLS

/* The operating system's character set id. */
PLATFORM_API uint32_t UTGetOSCharSet(void);

PLATFORM_END_DECLS

#endif
