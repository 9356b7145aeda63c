/*
 * The project's default host platform layer: what a player would supply to
 * libvqsoftcc.  Allocation uses the C heap; reports go to stderr as
 * "path:line: message".  A host may use this library or supply its own.
 */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "vqsoftcc_platform.h"

void *VQMalloc(uint32_t size)
{
    return malloc(size);
}

void VQFree(void *block)
{
    free(block);
}

void *VQMemset(void *block, int value, uint32_t count)
{
    return memset(block, value, count);
}

void *VQMemcpy(void *dst, const void *src, uint32_t count)
{
    return memcpy(dst, src, count);
}

uint32_t VQNOTIFY_implementation(uint32_t level, SoftCCStatus status, const char *path,
                                 uint32_t line, const char *message)
{
    (void)level;
    (void)status;
    /* The library's messages end in a newline of their own. */
    fprintf(stderr, "%s:%u: %s", path ? path : "?", (unsigned)line, message ? message : "\n");
    return 0;
}
