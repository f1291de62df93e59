/* Types shared by the engine's platform libraries, as the annotation module
 * sees them. Every handle the engine hands out is a 32-bit value on every
 * target; 0 is never a valid handle. */
#ifndef PLATFORM_PLATFORM_TYPES_H
#define PLATFORM_PLATFORM_TYPES_H

#include <stdint.h>

#if defined(__GNUC__) || defined(__clang__)
#define PLATFORM_API __attribute__((visibility("default")))
#else
#define PLATFORM_API
#endif

#ifdef __cplusplus
#define PLATFORM_BEGIN_DECLS extern "C" {
#define PLATFORM_END_DECLS }
#else
#define PLATFORM_BEGIN_DECLS
#define PLATFORM_END_DECLS
#endif

#endif
