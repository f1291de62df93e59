/* Every platform function the annotation module may call. */
#ifndef PLATFORM_PLATFORM_H
#define PLATFORM_PLATFORM_H

#include "platform/chunker.h"
#include "platform/content_access.h"
#include "platform/data_access.h"
#include "platform/memory.h"
#include "platform/utility.h"

#endif
