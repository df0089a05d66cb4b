// generic_pool: fixed-size elements taken from a few large blocks, with an upper limit on the
// elements in use, optional guard words, and no return of memory before free_generic_pool().
//
// Flags (last argument of init_generic_pool):
//   1 the pool does not grow            2 no first block at initialisation (filled on first get)
//   4 each growth adds initial_number   8 guard word at the end of each element
// Growth otherwise adds get_pool_grow_factor(block_count) x initial_number elements, rounded up so
// that a block fills its power-of-two byte size (mem_round_up_size), and never passes the limit.
// Every element handed out is zeroed. unit_size is the element size rounded up to 8 bytes (room
// for the free-list link), plus the 4-byte guard with flag 8, rounded again.
#pragma once

#include <cstddef>
#include <cstdint>

// Memory behind pools and tables: allocate(size, self), free(pointer, self).
struct mem_allocator {
  void* (*allocate)(size_t size, mem_allocator* self);
  void (*free)(void* pointer, mem_allocator* self);
};
// The heap.
extern mem_allocator os_malloc_allocator;

inline constexpr int GENERIC_POOL_MAX_BLOCKS = 64;
inline constexpr uint32_t GENERIC_POOL_NO_LIMIT = 2000000000u;
inline constexpr uint32_t GENERIC_POOL_NO_GROW = 1;
inline constexpr uint32_t GENERIC_POOL_NO_FIRST_BLOCK = 2;
inline constexpr uint32_t GENERIC_POOL_FIXED_GROWTH = 4;
inline constexpr uint32_t GENERIC_POOL_GUARD = 8;
inline constexpr uint32_t GENERIC_POOL_GUARD_IN_USE = 0xDEADCAFEu;
inline constexpr uint32_t GENERIC_POOL_GUARD_FREE = 0xFEEDCAFEu;

struct generic_pool {
  void* blocks[GENERIC_POOL_MAX_BLOCKS];
  void* free_list;  // first free element; free elements link through their first word
  mem_allocator* allocator;
  uint32_t initial_number;  // elements of the first block and unit of growth
  uint32_t unit_size;       // element size in bytes, guard word included
  uint32_t block_count;
  uint32_t total_number;      // elements in all blocks
  uint32_t allocated_number;  // elements in use
  uint32_t alloc_failure;     // failed gets
  uint32_t flag;
  uint32_t upper_limit;   // GENERIC_POOL_NO_LIMIT: none
  uint32_t min_mem;       // kept for display
  uint16_t free_fail;     // frees with a stale guard word (double free)
  uint16_t corrupt_fail;  // frees with a wrong guard word
};

// 1, or 0 when the first block fails; with flag 2 the result is 0 and that is no error.
int init_generic_pool(generic_pool* pool, uint32_t initial_number, uint32_t element_size,
                      uint32_t flags);
int init_generic_pool2(generic_pool* pool, uint32_t initial_number, uint32_t element_size,
                       uint32_t flags, mem_allocator* allocator);
// A zeroed element, or null (limit reached, no growth allowed, no memory).
void* generic_get_mem_from_pool(generic_pool* pool);
void generic_free_mem_to_pool(generic_pool* pool, void* element);
// Frees all blocks and clears the record; the pool can be set up again.
void free_generic_pool(generic_pool* pool);
// 0 stands for no limit; a limit above total_number clears the no-grow flag.
void set_generic_pool_upper_limit(generic_pool* pool, uint32_t limit);
// 0xFFFFFFFF for a null pool.
uint32_t generic_get_pool_allocated_number(const generic_pool* pool);
uint32_t generic_get_pool_total_number(const generic_pool* pool);
// 0xFFFFFFFF for no limit, 0 for a null pool.
uint32_t generic_get_pool_upper_limit(const generic_pool* pool);
// Valid only while the pool has its first block alone.
uint32_t generic_pool_pointer_to_index(const generic_pool* pool, const void* pointer);
void* generic_pool_index_to_pointer(const generic_pool* pool, uint32_t index);
// For a block count of 0 to 6: 1, 1, 2, 4, 8, 16, 20; 20 above.
uint32_t get_pool_grow_factor(uint32_t block_count);
// Up to 1024 gives 1024; then the next power of two, and 0x400000 for anything above 0x200000.
uint32_t mem_round_up_size(uint32_t size);
// "init#=%d unit_s=%d total=%d in_use=%d fail=%d upper=%s min_mem=%d freeFail=%d corruptFail=%d\n"
void print_generic_pool(const generic_pool* pool);
void dump_generic_pool(const generic_pool* pool);
// The upper-limit text of print_generic_pool.
const char* get_upper_limit_in_string(const generic_pool* pool, char* buf, int size);

// A set of pools for a range of sizes, smallest first. Each element carries an 8-byte head
// (0x12345600 + pool index, then padding for alignment) in front of what the caller sees.
inline constexpr uint32_t GENERIC_MULTI_POOL_SIGNATURE = 0x12345600u;
inline constexpr uint32_t GENERIC_MULTI_POOL_HEAD = 8;
struct generic_multi_pool {
  uint32_t pool_count;
  uint32_t largest_size;  // the largest size a caller can ask for
  mem_allocator* allocator;
  generic_pool* pools;
};
// Pools of the given caller sizes (ascending) and initial numbers; 1, or 0 on failure.
int init_generic_multi_pool(generic_multi_pool* multi, uint32_t pool_count, const uint32_t* sizes,
                            const uint32_t* initial_numbers, uint32_t flags,
                            mem_allocator* allocator);
void free_generic_multi_pool(generic_multi_pool* multi);
void set_generic_multi_pool_upper_limit(generic_multi_pool* multi, const uint32_t* limits);
void* generic_get_mem_from_multi_pool(generic_multi_pool* multi, uint32_t size);
void generic_free_mem_to_multi_pool(generic_multi_pool* multi, void* memory);
