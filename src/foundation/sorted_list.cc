// Sorted linked lists: ordered insert and delete, and the set operations, each one walk over the
// two lists at once. Lists may hold equal keys; the set operations then count them one for one.
#include <cstring>

#include "foundation/lists.h"

namespace {

using node = sorted_list_node;

int cmp(const sorted_list_desc* d, node* a, node* b) {
  return d->compare(sorted_list_key(a), sorted_list_key(b));
}

node* new_element(const sorted_list_desc* d, const void* key) {
  auto* n = static_cast<node*>(generic_get_mem_from_pool(d->pool));
  if (n == nullptr) return nullptr;
  if (d->copy != nullptr) {
    d->copy(sorted_list_key(n), key);
  } else {
    std::memcpy(sorted_list_key(n), key, d->key_size);
  }
  return n;
}

void free_element(const sorted_list_desc* d, node* n) {
  if (d->free_element != nullptr) {
    d->free_element(n, d->pool);
  } else {
    generic_free_mem_to_pool(d->pool, n);
  }
}

void free_chain(const sorted_list_desc* d, node* n) {
  while (n != nullptr) {
    node* next = n->next;
    free_element(d, n);
    n = next;
  }
}

// Appends to a list under construction.
struct Builder {
  node* head = nullptr;
  node** tail = &head;
  node* last = nullptr;
  void append(node* n) {
    n->next = nullptr;
    *tail = n;
    tail = &n->next;
    last = n;
  }
  // Appends a copy of n's key; false (and the list so far freed) when out of elements.
  bool copy_of(const sorted_list_desc* d, node* n) {
    node* c = new_element(d, sorted_list_key(n));
    if (c == nullptr) {
      free_chain(d, head);
      head = nullptr;
      return false;
    }
    append(c);
    return true;
  }
};

// Which parts of a two-list walk go into a new list.
struct Pick {
  bool only1;
  bool both;
  bool only2;
};

node* make(const sorted_list_desc* d, node* a, node* b, Pick pick) {
  Builder out;
  while (a != nullptr || b != nullptr) {
    int c = a == nullptr ? 1 : (b == nullptr ? -1 : cmp(d, a, b));
    bool ok = true;
    if (c < 0) {
      if (pick.only1) ok = out.copy_of(d, a);
      a = a->next;
    } else if (c > 0) {
      if (pick.only2) ok = out.copy_of(d, b);
      b = b->next;
    } else {
      if (pick.both) ok = out.copy_of(d, a);
      a = a->next;
      b = b->next;
    }
    if (!ok) return nullptr;
  }
  return out.head;
}

}  // namespace

int sorted_linklist_add_one_item(const sorted_list_desc* desc, sorted_list_node** list,
                                 const void* key) {
  node** p = list;
  while (*p != nullptr && desc->compare(sorted_list_key(*p), key) < 0)
    p = &(*p)->next;
  node* n = new_element(desc, key);
  if (n == nullptr) return 0;
  n->next = *p;
  *p = n;
  return 1;
}

int sorted_linklist_del_one_item(const sorted_list_desc* desc, sorted_list_node** list,
                                 const void* key) {
  for (node** p = list; *p != nullptr; p = &(*p)->next) {
    int c = desc->compare(sorted_list_key(*p), key);
    if (c > 0) break;
    if (c == 0) {
      node* n = *p;
      *p = n->next;
      free_element(desc, n);
      return 1;
    }
  }
  return 0;
}

int sorted_linklist_add(const sorted_list_desc* desc, sorted_list_node** list1,
                        sorted_list_node* list2) {
  node** p = list1;
  for (node* b = list2; b != nullptr; b = b->next) {
    while (*p != nullptr && cmp(desc, *p, b) < 0)
      p = &(*p)->next;
    if (*p != nullptr && cmp(desc, *p, b) == 0) {
      if (desc->merge != nullptr) desc->merge(*p, b, 1, desc->merge_argument);
      p = &(*p)->next;
      continue;
    }
    node* n = new_element(desc, sorted_list_key(b));
    if (n == nullptr) return 0;
    n->next = *p;
    *p = n;
    p = &n->next;
  }
  return 1;
}

sorted_list_node* sorted_linklist_make_add(const sorted_list_desc* desc, sorted_list_node* list1,
                                           sorted_list_node* list2) {
  return make(desc, list1, list2, {true, true, true});
}

sorted_list_node* sorted_linklist_make_minus(const sorted_list_desc* desc, sorted_list_node* list1,
                                             sorted_list_node* list2) {
  return make(desc, list1, list2, {true, false, false});
}

sorted_list_node* sorted_linklist_make_common(const sorted_list_desc* desc, sorted_list_node* list1,
                                              sorted_list_node* list2) {
  return make(desc, list1, list2, {false, true, false});
}

int sorted_linklist_minus(const sorted_list_desc* desc, sorted_list_node** list1,
                          sorted_list_node* list2) {
  int removed = 0;
  node** p = list1;
  for (node* b = list2; b != nullptr && *p != nullptr; b = b->next) {
    while (*p != nullptr && cmp(desc, *p, b) < 0)
      p = &(*p)->next;
    if (*p == nullptr || cmp(desc, *p, b) != 0) continue;
    if (desc->merge == nullptr || desc->merge(*p, b, 0, desc->merge_argument) != 0) {
      node* n = *p;
      *p = n->next;
      free_element(desc, n);
      ++removed;
    } else {
      p = &(*p)->next;
    }
  }
  return removed;
}

int sorted_linklist_keep_common(const sorted_list_desc* desc, sorted_list_node** list1,
                                sorted_list_node* list2) {
  int removed = 0;
  node** p = list1;
  node* b = list2;
  while (*p != nullptr) {
    int c = b == nullptr ? -1 : cmp(desc, *p, b);
    if (c < 0) {
      node* n = *p;
      *p = n->next;
      free_element(desc, n);
      ++removed;
    } else if (c > 0) {
      b = b->next;
    } else {
      p = &(*p)->next;
      b = b->next;
    }
  }
  return removed;
}

void sorted_linklist_merge(const sorted_list_desc* desc, sorted_list_node** list1,
                           sorted_list_node** list2) {
  Builder out;
  node* a = *list1;
  node* b = *list2;
  while (a != nullptr && b != nullptr) {
    node* take = cmp(desc, b, a) < 0 ? b : a;
    (take == a ? a : b) = take->next;
    out.append(take);
  }
  *out.tail = a != nullptr ? a : b;
  *list1 = out.head;
  *list2 = nullptr;
}

void sorted_linklist_move(const sorted_list_desc* desc, sorted_list_node** target,
                          sorted_list_node** source) {
  free_chain(desc, *target);
  *target = *source;
  *source = nullptr;
}

void sorted_linklist_move_keep_old(const sorted_list_desc* desc, sorted_list_node** target,
                                   sorted_list_node** source) {
  Builder out;
  node* t = *target;
  node* s = *source;
  while (t != nullptr || s != nullptr) {
    int c = t == nullptr ? 1 : (s == nullptr ? -1 : cmp(desc, t, s));
    if (c < 0) {
      node* n = t;
      t = t->next;
      free_element(desc, n);
    } else if (c > 0) {
      node* n = s;
      s = s->next;
      out.append(n);
    } else {
      node* keep = t;
      node* drop = s;
      t = t->next;
      s = s->next;
      out.append(keep);
      free_element(desc, drop);
    }
  }
  *target = out.head;
  *source = nullptr;
}

sorted_list_node* sorted_linklist_clone(const sorted_list_desc* desc, sorted_list_node* list,
                                        void (*each_fn)(sorted_list_node* copy,
                                                        sorted_list_node* original, void* argument),
                                        void* argument) {
  Builder out;
  for (node* n = list; n != nullptr; n = n->next) {
    if (!out.copy_of(desc, n)) return nullptr;
    if (each_fn != nullptr) each_fn(out.last, n, argument);
  }
  return out.head;
}

void sorted_linklist_free_list(const sorted_list_desc* desc, sorted_list_node** list) {
  if (list == nullptr) return;
  free_chain(desc, *list);
  *list = nullptr;
}

int sorted_linklist_is_equal(const sorted_list_desc* desc, sorted_list_node* list1,
                             sorted_list_node* list2) {
  for (; list1 != nullptr && list2 != nullptr; list1 = list1->next, list2 = list2->next) {
    if (cmp(desc, list1, list2) != 0) return 0;
  }
  return list1 == nullptr && list2 == nullptr ? 1 : 0;
}

int sorted_linklist_is_subset(const sorted_list_desc* desc, sorted_list_node* list,
                              sorted_list_node* subset) {
  for (node* s = subset; s != nullptr; s = s->next) {
    while (list != nullptr && cmp(desc, list, s) < 0)
      list = list->next;
    if (list == nullptr || cmp(desc, list, s) != 0) return 0;
    list = list->next;
  }
  return 1;
}

int sorted_linklist_is_any_present(const sorted_list_desc* desc, sorted_list_node* list1,
                                   sorted_list_node* list2) {
  while (list1 != nullptr && list2 != nullptr) {
    int c = cmp(desc, list1, list2);
    if (c == 0) return 1;
    if (c < 0) {
      list1 = list1->next;
    } else {
      list2 = list2->next;
    }
  }
  return 0;
}

int sorted_linklist_is_member(const sorted_list_desc* desc, sorted_list_node* list,
                              const void* key) {
  for (; list != nullptr; list = list->next) {
    int c = desc->compare(sorted_list_key(list), key);
    if (c == 0) return 1;
    if (c > 0) return 0;
  }
  return 0;
}

int sorted_linklist_has_other_member(const sorted_list_desc* desc, sorted_list_node* list,
                                     const void* key) {
  for (; list != nullptr; list = list->next) {
    if (desc->compare(sorted_list_key(list), key) != 0) return 1;
  }
  return 0;
}

int sorted_linklist_traverse_by_reference(const sorted_list_desc* desc, sorted_list_node* list1,
                                          sorted_list_node* list2,
                                          int (*fn)(sorted_list_node* element1,
                                                    sorted_list_node* element2, void* argument),
                                          void* argument) {
  int sum = 0;
  while (list1 != nullptr && list2 != nullptr) {
    int c = cmp(desc, list1, list2);
    if (c == 0) {
      node* next1 = list1->next;
      node* next2 = list2->next;
      int rc = fn(list1, list2, argument);
      if (rc < 0) break;
      sum += rc & 0x7FFFFFFF;
      list1 = next1;
      list2 = next2;
    } else if (c < 0) {
      list1 = list1->next;
    } else {
      list2 = list2->next;
    }
  }
  return sum;
}

sorted_list_node* sorted_linklist_convert_array_to_linklist(const sorted_list_desc* desc,
                                                            const void** keys, int count) {
  if (keys == nullptr || count <= 0) return nullptr;
  auto** array = const_cast<void**>(keys);
  quick_sort_generic_no_index2(
      0, count - 1, array,
      [](void* a, void* b, void* d) {
        return static_cast<const sorted_list_desc*>(d)->compare(a, b);
      },
      const_cast<sorted_list_desc*>(desc));
  Builder out;
  for (int i = 0; i < count; ++i) {
    node* n = new_element(desc, keys[i]);
    if (n == nullptr) {
      free_chain(desc, out.head);
      return nullptr;
    }
    out.append(n);
  }
  return out.head;
}

int sorted_linklist_add_from_array(const sorted_list_desc* desc, sorted_list_node** list,
                                   const void** keys, int count) {
  if (count <= 0) return 1;
  node* extra = sorted_linklist_convert_array_to_linklist(desc, keys, count);
  if (extra == nullptr) return 0;
  sorted_linklist_merge(desc, list, &extra);
  return 1;
}
