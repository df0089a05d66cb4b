// generic_pool and generic_multi_pool.
#include "foundation/generic_pool.h"

#include <cstdlib>
#include <cstring>

#include "foundation/kprintf.h"

namespace {

void* heap_allocate(size_t size, mem_allocator*) {
  return std::malloc(size);
}
void heap_free(void* pointer, mem_allocator*) {
  std::free(pointer);
}

// Guard-word failures are reported at most once in 10 seconds over all pools.
rate_limiter g_guard_report_limiter{};
constexpr uint32_t kGuardReportIntervalMs = 10000;

uint32_t round_to_8(uint32_t n) {
  return (n + 7u) & ~7u;
}

uint32_t& guard_of(const generic_pool* pool, void* element) {
  return *reinterpret_cast<uint32_t*>(static_cast<char*>(element) + pool->unit_size - 4);
}

// Allocates a block of `number` elements and chains them, first element first, onto the free
// list (which is empty when this is called). false on no memory.
bool add_block(generic_pool* pool, uint32_t number) {
  size_t bytes = static_cast<size_t>(number) * pool->unit_size;
  auto* block = static_cast<char*>(pool->allocator->allocate(bytes, pool->allocator));
  if (block == nullptr) return false;
  for (uint32_t i = 0; i < number; ++i) {
    void* next = i + 1 < number ? block + static_cast<size_t>(i + 1) * pool->unit_size : nullptr;
    std::memcpy(block + static_cast<size_t>(i) * pool->unit_size, &next, sizeof next);
  }
  pool->free_list = block;
  pool->blocks[pool->block_count++] = block;
  pool->total_number += number;
  return true;
}

bool has_limit(const generic_pool* pool) {
  return pool->upper_limit != GENERIC_POOL_NO_LIMIT;
}

bool grow(generic_pool* pool) {
  bool allowed = pool->block_count == 0 || ((pool->flag & GENERIC_POOL_NO_GROW) == 0 &&
                                            pool->block_count < GENERIC_POOL_MAX_BLOCKS);
  if (!allowed) return false;
  uint64_t number = pool->initial_number;
  if ((pool->flag & GENERIC_POOL_FIXED_GROWTH) == 0)
    number *= get_pool_grow_factor(pool->block_count);
  if (number + pool->total_number <= pool->upper_limit) {
    uint64_t bytes = number * pool->unit_size;
    uint32_t rounded =
        mem_round_up_size(bytes > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<uint32_t>(bytes));
    number = rounded / pool->unit_size;
  } else {
    number = pool->upper_limit > pool->total_number ? pool->upper_limit - pool->total_number : 0;
  }
  return number > 0 && add_block(pool, static_cast<uint32_t>(number));
}

void report_guard_failure(generic_pool* pool, void* element, bool double_free) {
  if (!rate_control_mini_sec_per_message(kGuardReportIntervalMs, &g_guard_report_limiter)) return;
  uprintf("generic_free_mem_to_pool: %s, mem=%lx pool=%lx count=%d\n",
          double_free ? "double free" : "corrupted guard word",
          static_cast<unsigned long>(reinterpret_cast<uintptr_t>(element)),
          static_cast<unsigned long>(reinterpret_cast<uintptr_t>(pool)),
          double_free ? pool->free_fail : pool->corrupt_fail);
  uint32_t words[8] = {};
  uint32_t n = pool->unit_size / 4 < 8 ? pool->unit_size / 4 : 8;
  std::memcpy(words, element, n * 4);
  uprintf("  %x %x %x %x %x %x %x %x\n", words[0], words[1], words[2], words[3], words[4], words[5],
          words[6], words[7]);
}

}  // namespace

mem_allocator os_malloc_allocator = {heap_allocate, heap_free};

uint32_t get_pool_grow_factor(uint32_t block_count) {
  static constexpr uint32_t kFactors[] = {1, 1, 2, 4, 8, 16, 20};
  return block_count < 7 ? kFactors[block_count] : 20;
}

uint32_t mem_round_up_size(uint32_t size) {
  if (size > 0x200000u) return 0x400000u;
  uint32_t rounded = 1024;
  while (rounded < size)
    rounded <<= 1;
  return rounded;
}

int init_generic_pool2(generic_pool* pool, uint32_t initial_number, uint32_t element_size,
                       uint32_t flags, mem_allocator* allocator) {
  if (pool == nullptr) return 0;
  *pool = generic_pool{};
  pool->allocator = allocator != nullptr ? allocator : &os_malloc_allocator;
  pool->initial_number = initial_number;
  pool->unit_size = round_to_8(element_size < 8 ? 8 : element_size);
  if ((flags & GENERIC_POOL_GUARD) != 0) pool->unit_size = round_to_8(pool->unit_size + 4);
  pool->flag = flags;
  pool->upper_limit = GENERIC_POOL_NO_LIMIT;
  if ((flags & GENERIC_POOL_NO_FIRST_BLOCK) != 0 || initial_number == 0) return 0;
  return add_block(pool, initial_number) ? 1 : 0;
}

int init_generic_pool(generic_pool* pool, uint32_t initial_number, uint32_t element_size,
                      uint32_t flags) {
  return init_generic_pool2(pool, initial_number, element_size, flags, nullptr);
}

void* generic_get_mem_from_pool(generic_pool* pool) {
  if (pool == nullptr) return nullptr;
  if (has_limit(pool) && pool->allocated_number >= pool->upper_limit) return nullptr;
  if (pool->free_list == nullptr && !grow(pool)) {
    pool->alloc_failure += 1;
    return nullptr;
  }
  void* element = pool->free_list;
  std::memcpy(&pool->free_list, element, sizeof(void*));
  pool->allocated_number += 1;
  std::memset(element, 0, pool->unit_size);
  if ((pool->flag & GENERIC_POOL_GUARD) != 0) guard_of(pool, element) = GENERIC_POOL_GUARD_IN_USE;
  return element;
}

void generic_free_mem_to_pool(generic_pool* pool, void* element) {
  if (pool == nullptr || element == nullptr) return;
  if ((pool->flag & GENERIC_POOL_GUARD) != 0) {
    uint32_t& guard = guard_of(pool, element);
    if (guard != GENERIC_POOL_GUARD_IN_USE) {
      bool double_free = guard == GENERIC_POOL_GUARD_FREE;
      if (double_free) {
        pool->free_fail += 1;
      } else {
        pool->corrupt_fail += 1;
      }
      report_guard_failure(pool, element, double_free);
      return;  // the element is lost rather than risking a double use
    }
    guard = GENERIC_POOL_GUARD_FREE;
  }
  std::memcpy(element, &pool->free_list, sizeof(void*));
  pool->free_list = element;
  pool->allocated_number -= 1;
}

void free_generic_pool(generic_pool* pool) {
  if (pool == nullptr) return;
  for (uint32_t i = 0; i < pool->block_count; ++i)
    pool->allocator->free(pool->blocks[i], pool->allocator);
  *pool = generic_pool{};
}

void set_generic_pool_upper_limit(generic_pool* pool, uint32_t limit) {
  if (pool == nullptr) return;
  pool->upper_limit = limit == 0 ? GENERIC_POOL_NO_LIMIT : limit;
  if (pool->upper_limit > pool->total_number) pool->flag &= ~GENERIC_POOL_NO_GROW;
}

uint32_t generic_get_pool_allocated_number(const generic_pool* pool) {
  return pool == nullptr ? 0xFFFFFFFFu : pool->allocated_number;
}

uint32_t generic_get_pool_total_number(const generic_pool* pool) {
  return pool == nullptr ? 0xFFFFFFFFu : pool->total_number;
}

uint32_t generic_get_pool_upper_limit(const generic_pool* pool) {
  if (pool == nullptr) return 0;
  return has_limit(pool) ? pool->upper_limit : 0xFFFFFFFFu;
}

uint32_t generic_pool_pointer_to_index(const generic_pool* pool, const void* pointer) {
  auto offset = static_cast<const char*>(pointer) - static_cast<const char*>(pool->blocks[0]);
  return static_cast<uint32_t>(offset / pool->unit_size);
}

void* generic_pool_index_to_pointer(const generic_pool* pool, uint32_t index) {
  return static_cast<char*>(pool->blocks[0]) + static_cast<size_t>(index) * pool->unit_size;
}

const char* get_upper_limit_in_string(const generic_pool* pool, char* buf, int size) {
  if ((pool->flag & GENERIC_POOL_NO_GROW) != 0) {
    ksnprintf(buf, size, "%u", pool->total_number);
  } else if (has_limit(pool)) {
    ksnprintf(buf, size, "%u", pool->upper_limit);
  } else if ((pool->flag & GENERIC_POOL_FIXED_GROWTH) != 0) {
    ksnprintf(buf, size, "%u", GENERIC_POOL_MAX_BLOCKS * pool->initial_number);
  } else {
    ksnprintf(buf, size, "%s", "none");
  }
  return buf;
}

void print_generic_pool(const generic_pool* pool) {
  if (pool == nullptr) return;
  char upper[16];
  uprintf(
      "init#=%d unit_s=%d total=%d in_use=%d fail=%d upper=%s min_mem=%d freeFail=%d "
      "corruptFail=%d\n",
      pool->initial_number, pool->unit_size, pool->total_number, pool->allocated_number,
      pool->alloc_failure, get_upper_limit_in_string(pool, upper, sizeof upper), pool->min_mem,
      pool->free_fail, pool->corrupt_fail);
}

void dump_generic_pool(const generic_pool* pool) {
  if (pool == nullptr) return;
  uprintf("pool: %x, unit_size: %d, initial_number:%d, upper_limit:%d\n",
          static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pool)), pool->unit_size,
          pool->initial_number, pool->upper_limit);
  uprintf("  total_number:%d, allocated_number:%d, alloc_failure %d\n", pool->total_number,
          pool->allocated_number, pool->alloc_failure);
  uprintf("  flag: %d, pool_index:%d, avail_data:%x\n", pool->flag, pool->block_count,
          static_cast<uint32_t>(reinterpret_cast<uintptr_t>(pool->free_list)));
}

int init_generic_multi_pool(generic_multi_pool* multi, uint32_t pool_count, const uint32_t* sizes,
                            const uint32_t* initial_numbers, uint32_t flags,
                            mem_allocator* allocator) {
  if (multi == nullptr || pool_count == 0 || pool_count > 0xFF) return 0;
  *multi = generic_multi_pool{};
  multi->allocator = allocator != nullptr ? allocator : &os_malloc_allocator;
  multi->pools = static_cast<generic_pool*>(
      multi->allocator->allocate(sizeof(generic_pool) * pool_count, multi->allocator));
  if (multi->pools == nullptr) return 0;
  multi->pool_count = pool_count;
  for (uint32_t i = 0; i < pool_count; ++i) {
    init_generic_pool2(&multi->pools[i], initial_numbers[i], sizes[i] + GENERIC_MULTI_POOL_HEAD,
                       flags | GENERIC_POOL_NO_FIRST_BLOCK, multi->allocator);
  }
  multi->largest_size = sizes[pool_count - 1];
  return 1;
}

void free_generic_multi_pool(generic_multi_pool* multi) {
  if (multi == nullptr || multi->pools == nullptr) return;
  for (uint32_t i = 0; i < multi->pool_count; ++i)
    free_generic_pool(&multi->pools[i]);
  multi->allocator->free(multi->pools, multi->allocator);
  *multi = generic_multi_pool{};
}

void set_generic_multi_pool_upper_limit(generic_multi_pool* multi, const uint32_t* limits) {
  if (multi == nullptr || limits == nullptr) return;
  for (uint32_t i = 0; i < multi->pool_count; ++i)
    set_generic_pool_upper_limit(&multi->pools[i], limits[i]);
}

void* generic_get_mem_from_multi_pool(generic_multi_pool* multi, uint32_t size) {
  if (multi == nullptr || multi->pools == nullptr) return nullptr;
  if (size == 0 || size > multi->largest_size) {
    uprintf("generic_get..multi_pool(). largest size is size[%d]=%d, try to get %d\n",
            multi->pool_count - 1, multi->largest_size, size);
    return nullptr;
  }
  for (uint32_t i = 0; i < multi->pool_count; ++i) {
    generic_pool* pool = &multi->pools[i];
    if (pool->unit_size < size + GENERIC_MULTI_POOL_HEAD) continue;
    auto* element = static_cast<char*>(generic_get_mem_from_pool(pool));
    if (element == nullptr) continue;  // full: try the next larger pool
    uint32_t head = GENERIC_MULTI_POOL_SIGNATURE + i;
    std::memcpy(element, &head, sizeof head);
    return element + GENERIC_MULTI_POOL_HEAD;
  }
  return nullptr;
}

void generic_free_mem_to_multi_pool(generic_multi_pool* multi, void* memory) {
  if (multi == nullptr || memory == nullptr) return;
  char* element = static_cast<char*>(memory) - GENERIC_MULTI_POOL_HEAD;
  uint32_t head = 0;
  std::memcpy(&head, element, sizeof head);
  uint32_t index = head - GENERIC_MULTI_POOL_SIGNATURE;
  if ((head & 0xFFFFFF00u) != GENERIC_MULTI_POOL_SIGNATURE || index >= multi->pool_count) {
    uprintf("generic_free_mem_to_multi_pool(%X), wrong mem, signature=%X\n",
            static_cast<uint32_t>(reinterpret_cast<uintptr_t>(memory)), head);
    return;
  }
  generic_free_mem_to_pool(&multi->pools[index], element);
}
