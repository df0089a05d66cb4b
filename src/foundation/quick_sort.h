// Non-recursive quick sort of word arrays and index arrays.
//
// The pivot is the middle item ((low + high) / 2); the scans run from the top down while the
// compare with the pivot is positive and from the bottom up while it is negative. The larger
// partition is pushed on an own stack and the smaller one worked on next, so the stack stays at
// the log of the size. Ranges are inclusive: low to high.
#pragma once

#include <cstdint>

using qsort_compare_fn = int (*)(void* a, void* b);
using qsort_compare2_fn = int (*)(void* a, void* b, void* argument);
// Compares two items (or keys) by address.
using qsort_item_compare_fn = int (*)(const void* a, const void* b);

void quick_sort_generic_no_index2(int low, int high, void** array, qsort_compare2_fn compare,
                                  void* argument);
void quick_sort_generic_no_index(int low, int high, void** array, qsort_compare_fn compare);
// Sorts an array of indexes into `table`, a table of item_size-byte items, by compare on items.
void quick_sort_generic(int low, int high, uint32_t* index, const void* table, uint32_t item_size,
                        qsort_item_compare_fn compare);
// The same, comparing the keys that lie key_offset bytes into each item.
void quick_sort_generic_anykey(int low, int high, uint32_t* index, const void* table,
                               uint32_t item_size, uint32_t key_offset,
                               qsort_item_compare_fn compare);
// The smallest power of two from 2 upward that is at least n; its exponent goes to *exponent.
uint32_t get_power_of_two(uint32_t n, uint32_t* exponent);
