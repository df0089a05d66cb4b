// The quick sort of quick_sort.h: one partition loop for all the array kinds.
#include "foundation/quick_sort.h"

#include <utility>

namespace {

// Sorts array[low..high]; cmp(a, b) gives negative, 0 or positive.
template <class T, class Cmp>
void sort_range(int low, int high, T* array, Cmp cmp) {
  struct Range {
    int low;
    int high;
  };
  Range stack[64];
  int depth = 0;
  while (true) {
    while (low < high) {
      T pivot = array[low + (high - low) / 2];
      int i = low;
      int j = high;
      while (i <= j) {
        while (cmp(array[j], pivot) > 0)
          --j;
        while (cmp(array[i], pivot) < 0)
          ++i;
        if (i <= j) {
          std::swap(array[i], array[j]);
          ++i;
          --j;
        }
      }
      // [low, j] and [i, high]: push the larger, go on with the smaller.
      if (j - low > high - i) {
        if (low < j) stack[depth++] = {low, j};
        low = i;
      } else {
        if (i < high) stack[depth++] = {i, high};
        high = j;
      }
    }
    if (depth == 0) return;
    --depth;
    low = stack[depth].low;
    high = stack[depth].high;
  }
}

}  // namespace

void quick_sort_generic_no_index2(int low, int high, void** array, qsort_compare2_fn compare,
                                  void* argument) {
  if (array == nullptr) return;
  sort_range(low, high, array, [&](void* a, void* b) { return compare(a, b, argument); });
}

void quick_sort_generic_no_index(int low, int high, void** array, qsort_compare_fn compare) {
  if (array == nullptr) return;
  sort_range(low, high, array, compare);
}

void quick_sort_generic_anykey(int low, int high, uint32_t* index, const void* table,
                               uint32_t item_size, uint32_t key_offset,
                               qsort_item_compare_fn compare) {
  if (index == nullptr || table == nullptr) return;
  const char* base = static_cast<const char*>(table) + key_offset;
  sort_range(low, high, index, [&](uint32_t a, uint32_t b) {
    return compare(base + static_cast<uint64_t>(a) * item_size,
                   base + static_cast<uint64_t>(b) * item_size);
  });
}

void quick_sort_generic(int low, int high, uint32_t* index, const void* table, uint32_t item_size,
                        qsort_item_compare_fn compare) {
  quick_sort_generic_anykey(low, high, index, table, item_size, 0, compare);
}

uint32_t get_power_of_two(uint32_t n, uint32_t* exponent) {
  uint32_t value = 2;
  uint32_t e = 1;
  while (value < n && e < 31) {
    value <<= 1;
    ++e;
  }
  if (exponent != nullptr) *exponent = e;
  return value;
}
