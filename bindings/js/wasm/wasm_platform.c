/*
 * The platform routines of libvqsoftcc inside WebAssembly, where there is no
 * C library: a small size-class allocator behind VQMalloc/VQFree with the
 * counters the JavaScript tests read for leaks, the memory routines, and
 * reports handed to JavaScript.
 *
 * The heap is the one piece of global state in the module: it belongs to the
 * whole instance, as malloc's heap belongs to a process.  Every decoder of
 * an instance shares it.
 */
#include <stddef.h>
#include <stdint.h>

#include "vqsoftcc_platform.h"
#include "wasm_host.h"

#define WASM_PAGE 65536u
#define ALIGNMENT 8u
#define HEADER_BYTES 8u
/* Blocks up to this many bytes come from exact size classes, 8 bytes apart;
 * the library asks only for its context (1344 bytes) and text runs (168). */
#define SMALL_LIMIT 2048u
#define SIZE_CLASSES (SMALL_LIMIT / ALIGNMENT + 1)
#define LIVE_MARK 0x4C495645u /* "LIVE": catches frees of blocks not handed out */

/* Every block starts with its capacity and a mark; the caller sees what
 * follows.  A free block keeps its capacity and links to the next free block
 * of its class in place of the mark. */
typedef struct BlockHeader {
    uint32_t capacity;
    uint32_t mark_or_next;
} BlockHeader;

extern unsigned char __heap_base;

static uint32_t heap_top;                     /* first byte never handed out */
static uint32_t free_small[SIZE_CLASSES];     /* heads of the free lists, by capacity / 8 */
static uint32_t free_large;                   /* larger blocks, first fit, never split */
static VqjsHeapStats heap_stats;

static BlockHeader *header_at(uint32_t address)
{
    return (BlockHeader *)(uintptr_t)address;
}

/* Takes fresh bytes from the top of the heap, growing memory as needed. */
static uint32_t take_fresh(uint32_t capacity)
{
    if (heap_top == 0)
        heap_top = ((uint32_t)(uintptr_t)&__heap_base + ALIGNMENT - 1) & ~(ALIGNMENT - 1);
    uint32_t block = heap_top;
    uint32_t end = block + HEADER_BYTES + capacity;
    if (end < block)
        return 0;
    uint32_t have = (uint32_t)__builtin_wasm_memory_size(0) * WASM_PAGE;
    if (end > have) {
        uint32_t pages = (end - have + WASM_PAGE - 1) / WASM_PAGE;
        if (__builtin_wasm_memory_grow(0, pages) == (size_t)-1)
            return 0;
    }
    heap_top = end;
    header_at(block)->capacity = capacity;
    return block;
}

static uint32_t take_free_large(uint32_t capacity)
{
    uint32_t *link = &free_large;
    while (*link != 0) {
        BlockHeader *h = header_at(*link);
        if (h->capacity >= capacity) {
            uint32_t block = *link;
            *link = h->mark_or_next;
            return block;
        }
        link = &h->mark_or_next;
    }
    return 0;
}

void *VQMalloc(uint32_t size)
{
    if (heap_stats.fail_countdown != 0 && --heap_stats.fail_countdown == 0) {
        heap_stats.failures++;
        return NULL;
    }
    if (size > 0x7FFF0000u) {
        heap_stats.failures++;
        return NULL;
    }
    uint32_t capacity = size == 0 ? ALIGNMENT : (size + ALIGNMENT - 1) & ~(ALIGNMENT - 1);
    uint32_t block = 0;
    if (capacity <= SMALL_LIMIT) {
        uint32_t *head = &free_small[capacity / ALIGNMENT];
        if (*head != 0) {
            block = *head;
            *head = header_at(block)->mark_or_next;
        }
    } else {
        block = take_free_large(capacity);
    }
    if (block == 0)
        block = take_fresh(capacity);
    if (block == 0) {
        heap_stats.failures++;
        return NULL;
    }
    BlockHeader *h = header_at(block);
    h->mark_or_next = LIVE_MARK;
    heap_stats.live_blocks++;
    heap_stats.live_bytes += h->capacity;
    heap_stats.allocations++;
    if (heap_stats.live_bytes > heap_stats.peak_bytes)
        heap_stats.peak_bytes = heap_stats.live_bytes;
    return (void *)(uintptr_t)(block + HEADER_BYTES);
}

void VQFree(void *pointer)
{
    if (pointer == NULL)
        return;
    uint32_t block = (uint32_t)(uintptr_t)pointer - HEADER_BYTES;
    BlockHeader *h = header_at(block);
    if (h->mark_or_next != LIVE_MARK)
        __builtin_trap(); /* a double free or a foreign pointer: stop at once */
    heap_stats.live_blocks--;
    heap_stats.live_bytes -= h->capacity;
    uint32_t *head = h->capacity <= SMALL_LIMIT ? &free_small[h->capacity / ALIGNMENT] : &free_large;
    h->mark_or_next = *head;
    *head = block;
}

VqjsHeapStats *vqjs_heap_stats(void)
{
    return &heap_stats;
}

/* The compiler turns struct copies into calls of memcpy and memset, so the
 * module defines them.  This file is built with -fno-builtin, which keeps the
 * loops below from being turned back into calls of themselves.  Aligned
 * blocks go 8 bytes at a time, four words a round: a text run is 168 bytes
 * and every typed character clears a fresh one. */
void *memcpy(void *dst, const void *src, size_t count)
{
    unsigned char *d = (unsigned char *)dst;
    const unsigned char *s = (const unsigned char *)src;
    if ((((uintptr_t)d | (uintptr_t)s) & 7u) == 0) {
        for (; count >= 32; count -= 32, d += 32, s += 32) {
            ((uint64_t *)d)[0] = ((const uint64_t *)s)[0];
            ((uint64_t *)d)[1] = ((const uint64_t *)s)[1];
            ((uint64_t *)d)[2] = ((const uint64_t *)s)[2];
            ((uint64_t *)d)[3] = ((const uint64_t *)s)[3];
        }
        for (; count >= 8; count -= 8, d += 8, s += 8)
            *(uint64_t *)d = *(const uint64_t *)s;
    }
    while (count-- > 0)
        *d++ = *s++;
    return dst;
}

void *memset(void *block, int value, size_t count)
{
    unsigned char *d = (unsigned char *)block;
    if (((uintptr_t)d & 7u) == 0) {
        uint64_t word = (unsigned char)value * 0x0101010101010101ull;
        for (; count >= 32; count -= 32, d += 32) {
            ((uint64_t *)d)[0] = word;
            ((uint64_t *)d)[1] = word;
            ((uint64_t *)d)[2] = word;
            ((uint64_t *)d)[3] = word;
        }
        for (; count >= 8; count -= 8, d += 8)
            *(uint64_t *)d = word;
    }
    while (count-- > 0)
        *d++ = (unsigned char)value;
    return block;
}

void *VQMemcpy(void *dst, const void *src, uint32_t count)
{
    return memcpy(dst, src, count);
}

void *VQMemset(void *block, int value, uint32_t count)
{
    return memset(block, value, count);
}

uint32_t VQNOTIFY_implementation(uint32_t level, SoftCCStatus status, const char *path, uint32_t line,
                                 const char *message)
{
    return vqjs_import_report(level, status, path, line, message);
}
