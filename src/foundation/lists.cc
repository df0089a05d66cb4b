// Stack, double list and plain singly linked lists.
#include <new>

#include "foundation/lists.h"

// ---- Stack ----

generic_stack* genericStackCreate(uint32_t n) {
  auto* stack = new (std::nothrow) generic_stack{};
  if (stack == nullptr) return nullptr;
  if (init_generic_pool(&stack->pool, n, sizeof(generic_stack_entry), 0) == 0) {
    delete stack;
    return nullptr;
  }
  return stack;
}

int genericStackPush(generic_stack* stack, void* data) {
  if (stack == nullptr) return 0;
  auto* e = static_cast<generic_stack_entry*>(generic_get_mem_from_pool(&stack->pool));
  if (e == nullptr) return 0;
  e->data = data;
  e->next = stack->top;
  stack->top = e;
  return 1;
}

void* genericStackPop(generic_stack* stack) {
  if (stack == nullptr || stack->top == nullptr) return nullptr;
  generic_stack_entry* e = stack->top;
  void* data = e->data;
  stack->top = e->next;
  generic_free_mem_to_pool(&stack->pool, e);
  return data;
}

int genericStackIsEmpty(const generic_stack* stack) {
  return stack == nullptr || stack->top == nullptr ? 1 : 0;
}

void genericStackClear(generic_stack* stack) {
  while (!genericStackIsEmpty(stack))
    genericStackPop(stack);
}

void genericStackDestroy(generic_stack* stack) {
  if (stack == nullptr) return;
  free_generic_pool(&stack->pool);
  delete stack;
}

// ---- Double list ----

generic_dlist* genericDoubleLinkListCreate(uint32_t element_size, uint32_t n) {
  if (element_size < sizeof(generic_dlist_entry)) return nullptr;
  auto* list = new (std::nothrow) generic_dlist{};
  if (list == nullptr) return nullptr;
  if (init_generic_pool(&list->pool, n, element_size, 0) == 0) {
    delete list;
    return nullptr;
  }
  return list;
}

namespace {
// Links e at the head (at_head) or at the tail of the list.
void link_at_end(generic_dlist* list, generic_dlist_entry* e, bool at_head) {
  generic_dlist_entry*& end = at_head ? list->head : list->tail;
  (at_head ? e->prev : e->next) = nullptr;
  (at_head ? e->next : e->prev) = end;
  if (end != nullptr) {
    (at_head ? end->prev : end->next) = e;
  } else {
    (at_head ? list->tail : list->head) = e;
  }
  end = e;
  list->count += 1;
}
}  // namespace

void genericDoubleLinkListAddNewEntryToHead_NoPool(generic_dlist* list, void* entry) {
  link_at_end(list, static_cast<generic_dlist_entry*>(entry), true);
}

void genericDoubleLinkListAddNewEntryToEnd_NoPool(generic_dlist* list, void* entry) {
  link_at_end(list, static_cast<generic_dlist_entry*>(entry), false);
}

void genericDoubleLinkListDeleteEntry_NoPool(generic_dlist* list, void* entry) {
  auto* e = static_cast<generic_dlist_entry*>(entry);
  (e->prev != nullptr ? e->prev->next : list->head) = e->next;
  (e->next != nullptr ? e->next->prev : list->tail) = e->prev;
  e->next = e->prev = nullptr;
  list->count -= 1;
}

void* genericDoubleLinkListAddNewEntryToHead(generic_dlist* list) {
  if (list == nullptr) return nullptr;
  void* e = generic_get_mem_from_pool(&list->pool);
  if (e != nullptr) genericDoubleLinkListAddNewEntryToHead_NoPool(list, e);
  return e;
}

void* genericDoubleLinkListAddNewEntryToEnd(generic_dlist* list) {
  if (list == nullptr) return nullptr;
  void* e = generic_get_mem_from_pool(&list->pool);
  if (e != nullptr) genericDoubleLinkListAddNewEntryToEnd_NoPool(list, e);
  return e;
}

void genericDoubleLinkListDeleteEntry(generic_dlist* list, void* entry) {
  if (list == nullptr || entry == nullptr) return;
  genericDoubleLinkListDeleteEntry_NoPool(list, entry);
  generic_free_mem_to_pool(&list->pool, entry);
}

void genericDoubleLinkListDestroy(generic_dlist* list) {
  if (list == nullptr) return;
  free_generic_pool(&list->pool);
  delete list;
}

// ---- Plain lists ----

namespace {
struct link {
  link* next;
};
link** head_of(void** head) {
  return reinterpret_cast<link**>(head);
}
}  // namespace

void linklist_add_to_end(void** head, void* record) {
  link** p = head_of(head);
  while (*p != nullptr)
    p = &(*p)->next;
  auto* r = static_cast<link*>(record);
  r->next = nullptr;
  *p = r;
}

int linklist_delete_pointer(void** head, void* record) {
  for (link** p = head_of(head); *p != nullptr; p = &(*p)->next) {
    if (*p == record) {
      *p = (*p)->next;
      return 1;
    }
  }
  return 0;
}

void* generic_search_linklist(void* head, uintptr_t word) {
  for (auto* e = static_cast<generic_list_entry*>(head); e != nullptr; e = e->next) {
    if (e->word == word) return e;
  }
  return nullptr;
}

void* generic_add_to_linklist(generic_pool* pool, void** head, uintptr_t word) {
  auto* e = static_cast<generic_list_entry*>(generic_get_mem_from_pool(pool));
  if (e == nullptr) return nullptr;
  e->word = word;
  linklist_add_to_end(head, e);
  return e;
}

int generic_remove_from_linklist(generic_pool* pool, void** head, uintptr_t word) {
  void* e = generic_search_linklist(*head, word);
  if (e == nullptr || linklist_delete_pointer(head, e) == 0) return 0;
  generic_free_mem_to_pool(pool, e);
  return 1;
}

void generic_free_entire_linklist(generic_pool* pool, void** head) {
  auto* e = static_cast<generic_list_entry*>(*head);
  while (e != nullptr) {
    generic_list_entry* next = e->next;
    generic_free_mem_to_pool(pool, e);
    e = next;
  }
  *head = nullptr;
}

int generic_compare_uint32(uint32_t a, uint32_t b) {
  return a < b ? -1 : (a > b ? 1 : 0);
}
