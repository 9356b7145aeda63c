/*
 * Routines the host process supplies to libvqsoftcc.  The library imports
 * them by name and resolves them at load time; it defines none of them.
 * The project's own default implementation lives in platform/.
 */
#ifndef VQSOFTCC_PLATFORM_H
#define VQSOFTCC_PLATFORM_H

#include "vqsoftcc.h"

#ifdef __cplusplus
extern "C" {
#endif

/* A block of `size` bytes, or null. */
VQSOFTCC_API void *VQMalloc(uint32_t size);
/* Releases a block from VQMalloc. */
VQSOFTCC_API void VQFree(void *block);
/* As the standard memset and memcpy. */
VQSOFTCC_API void *VQMemset(void *block, int value, uint32_t count);
VQSOFTCC_API void *VQMemcpy(void *dst, const void *src, uint32_t count);
/* Diagnostic sink.  The library always passes level 0 and ignores the result. */
VQSOFTCC_API uint32_t VQNOTIFY_implementation(uint32_t level, SoftCCStatus status,
                                              const char *path, uint32_t line,
                                              const char *message);

#ifdef __cplusplus
}
#endif

#endif /* VQSOFTCC_PLATFORM_H */
