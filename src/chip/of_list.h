// A small intrusive doubly linked list: the slot's chips, the chip's ports, the members of an
// interface entry. A link knows its item, so no pointer arithmetic is needed to get back to it.
#pragma once

struct of_dlist {
  of_dlist* next = nullptr;
  of_dlist* prev = nullptr;
  void* item = nullptr;  // null in a list head
};

// An empty list head (or a link in no list).
inline void of_dlist_init(of_dlist* head) {
  head->next = head;
  head->prev = head;
}
inline bool of_dlist_empty(const of_dlist* head) {
  return !head->next || head->next == head;
}
inline bool of_dlist_linked(const of_dlist* link) {
  return link->next && link->next != link;
}
inline void of_dlist_append(of_dlist* head, of_dlist* link, void* item) {
  if (!head->next) of_dlist_init(head);
  link->item = item;
  link->prev = head->prev;
  link->next = head;
  head->prev->next = link;
  head->prev = link;
}
inline void of_dlist_unlink(of_dlist* link) {
  if (!of_dlist_linked(link)) return;
  link->prev->next = link->next;
  link->next->prev = link->prev;
  of_dlist_init(link);
}
inline int of_dlist_count(const of_dlist* head) {
  int n = 0;
  if (!head->next) return 0;
  for (const of_dlist* l = head->next; l != head; l = l->next)
    ++n;
  return n;
}
// Items in list order: for (auto* l = head.next; l && l != &head; l = l->next) l->item ...
