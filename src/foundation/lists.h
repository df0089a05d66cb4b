// Lists of the foundation: sorted linked lists with set operations, a stack, a double list and
// plain singly linked lists. Elements come from generic pools (generic_pool.h) unless a `_NoPool`
// form links records that the caller owns. The quick sort is in quick_sort.h.
#pragma once

#include <cstddef>
#include <cstdint>

#include "foundation/generic_pool.h"
#include "foundation/quick_sort.h"

// ---- Sorted linked lists ----
// An element is its link followed by its key (at SORTED_LIST_KEY_OFFSET). Lists are kept in the
// descriptor's compare order; set operations walk two lists at once.
struct sorted_list_node {
  sorted_list_node* next;
};
inline constexpr size_t SORTED_LIST_KEY_OFFSET = sizeof(sorted_list_node);
inline void* sorted_list_key(sorted_list_node* node) {
  return reinterpret_cast<char*>(node) + SORTED_LIST_KEY_OFFSET;
}

struct sorted_list_desc {
  generic_pool* pool;  // elements: SORTED_LIST_KEY_OFFSET + key bytes at least
  uint32_t key_size;   // bytes copied into a new element when there is no copy function
  int (*compare)(const void* key1, const void* key2);
  // Copies a key (or the key part of another element) into a new element's key area; optional.
  void (*copy)(void* element_key, const void* key);
  // Gives an element back; optional, the pool otherwise.
  void (*free_element)(sorted_list_node* element, generic_pool* pool);
  // Called on equal keys: adding 1 from sorted_linklist_add, 0 from sorted_linklist_minus
  // (where a nonzero answer removes the element). Optional.
  int (*merge)(sorted_list_node* mine, sorted_list_node* other, int adding, void* argument);
  void* merge_argument;
};

// 1, or 0 when no element can be had. The new element goes before the first one not below it.
int sorted_linklist_add_one_item(const sorted_list_desc* desc, sorted_list_node** list,
                                 const void* key);
// 1 when found and freed, else 0.
int sorted_linklist_del_one_item(const sorted_list_desc* desc, sorted_list_node** list,
                                 const void* key);
// Adds copies of list2's keys that list1 lacks; equal keys go to the merge callback. 1, or 0 when
// elements ran out (what was added stays).
int sorted_linklist_add(const sorted_list_desc* desc, sorted_list_node** list1,
                        sorted_list_node* list2);
// New lists: union, difference (list1 less list2), intersection. Null when empty or out of
// elements (nothing is left half-built).
sorted_list_node* sorted_linklist_make_add(const sorted_list_desc* desc, sorted_list_node* list1,
                                           sorted_list_node* list2);
sorted_list_node* sorted_linklist_make_minus(const sorted_list_desc* desc, sorted_list_node* list1,
                                             sorted_list_node* list2);
sorted_list_node* sorted_linklist_make_common(const sorted_list_desc* desc, sorted_list_node* list1,
                                              sorted_list_node* list2);
// Removes list2's keys from list1 (with a merge callback, only where it answers nonzero); gives
// the number removed.
int sorted_linklist_minus(const sorted_list_desc* desc, sorted_list_node** list1,
                          sorted_list_node* list2);
// Keeps only the keys that are in both; gives the number removed.
int sorted_linklist_keep_common(const sorted_list_desc* desc, sorted_list_node** list1,
                                sorted_list_node* list2);
// Moves every element of *list2 into *list1 in order; *list2 becomes empty.
void sorted_linklist_merge(const sorted_list_desc* desc, sorted_list_node** list1,
                           sorted_list_node** list2);
// Frees *target and moves *source in its place; *source becomes empty.
void sorted_linklist_move(const sorted_list_desc* desc, sorted_list_node** target,
                          sorted_list_node** source);
// *target takes the keys of *source: common keys keep target's elements, the others are
// source's; *source becomes empty.
void sorted_linklist_move_keep_old(const sorted_list_desc* desc, sorted_list_node** target,
                                   sorted_list_node** source);
// A copy of list (null when empty or out of elements); each_fn (optional) sees new and old.
sorted_list_node* sorted_linklist_clone(const sorted_list_desc* desc, sorted_list_node* list,
                                        void (*each_fn)(sorted_list_node* copy,
                                                        sorted_list_node* original, void* argument),
                                        void* argument);
void sorted_linklist_free_list(const sorted_list_desc* desc, sorted_list_node** list);
int sorted_linklist_is_equal(const sorted_list_desc* desc, sorted_list_node* list1,
                             sorted_list_node* list2);
// 1 when every key of `subset` is in `list`.
int sorted_linklist_is_subset(const sorted_list_desc* desc, sorted_list_node* list,
                              sorted_list_node* subset);
int sorted_linklist_is_any_present(const sorted_list_desc* desc, sorted_list_node* list1,
                                   sorted_list_node* list2);
// Stops at the first key above the one sought.
int sorted_linklist_is_member(const sorted_list_desc* desc, sorted_list_node* list,
                              const void* key);
// 1 when the list holds a key other than `key`.
int sorted_linklist_has_other_member(const sorted_list_desc* desc, sorted_list_node* list,
                                     const void* key);
// Calls fn on each pair of elements with equal keys; sums the low 31 bits of the answers; a
// negative answer stops the walk. Gives the sum.
int sorted_linklist_traverse_by_reference(const sorted_list_desc* desc, sorted_list_node* list1,
                                          sorted_list_node* list2,
                                          int (*fn)(sorted_list_node* element1,
                                                    sorted_list_node* element2, void* argument),
                                          void* argument);
// A list of the keys at keys[0..count-1] (the pointer array is sorted in place).
sorted_list_node* sorted_linklist_convert_array_to_linklist(const sorted_list_desc* desc,
                                                            const void** keys, int count);
// Adds the keys at keys[0..count-1] to *list; 1, or 0 when elements ran out.
int sorted_linklist_add_from_array(const sorted_list_desc* desc, sorted_list_node** list,
                                   const void** keys, int count);

// ---- Stack ----
struct generic_stack_entry {
  generic_stack_entry* next;
  void* data;
};
struct generic_stack {
  generic_pool pool;
  generic_stack_entry* top;
};
// A stack whose pool starts with n entries (and grows). Null on no memory.
generic_stack* genericStackCreate(uint32_t n);
// 1, or 0 when no entry can be had.
int genericStackPush(generic_stack* stack, void* data);
// The top data, or null when empty.
void* genericStackPop(generic_stack* stack);
int genericStackIsEmpty(const generic_stack* stack);
void genericStackClear(generic_stack* stack);
void genericStackDestroy(generic_stack* stack);

// ---- Double list ----
// Each element begins with these two links; the caller's data follows.
struct generic_dlist_entry {
  generic_dlist_entry* next;
  generic_dlist_entry* prev;
};
struct generic_dlist {
  generic_pool pool;  // unused by the _NoPool forms
  generic_dlist_entry* head;
  generic_dlist_entry* tail;
  uint32_t count;
};
// element_size must hold the two links; null otherwise or on no memory.
generic_dlist* genericDoubleLinkListCreate(uint32_t element_size, uint32_t n);
// A zeroed element linked at the head or the end, or null.
void* genericDoubleLinkListAddNewEntryToHead(generic_dlist* list);
void* genericDoubleLinkListAddNewEntryToEnd(generic_dlist* list);
// Unlinks the element and gives it back to the pool.
void genericDoubleLinkListDeleteEntry(generic_dlist* list, void* entry);
void genericDoubleLinkListDestroy(generic_dlist* list);
// The same on elements the caller owns (list may be a zeroed record).
void genericDoubleLinkListAddNewEntryToHead_NoPool(generic_dlist* list, void* entry);
void genericDoubleLinkListAddNewEntryToEnd_NoPool(generic_dlist* list, void* entry);
void genericDoubleLinkListDeleteEntry_NoPool(generic_dlist* list, void* entry);

// ---- Plain lists: any record whose first word is the link ----
struct generic_list_entry {
  generic_list_entry* next;
  uintptr_t word;  // the searched word
};
void linklist_add_to_end(void** head, void* record);
// 1 when the record was in the list and is unlinked, else 0.
int linklist_delete_pointer(void** head, void* record);
// The first record whose word after the link equals `word`, or null.
void* generic_search_linklist(void* head, uintptr_t word);
// A pool element holding word, appended; null when the pool is out.
void* generic_add_to_linklist(generic_pool* pool, void** head, uintptr_t word);
// 1 when an element holding word was removed and given back, else 0.
int generic_remove_from_linklist(generic_pool* pool, void** head, uintptr_t word);
void generic_free_entire_linklist(generic_pool* pool, void** head);
// -1, 0, +1 in the ordinary sense.
int generic_compare_uint32(uint32_t a, uint32_t b);
