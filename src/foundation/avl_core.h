// Shared balancing code of the two AVL trees (avl_tree and dce_avl_tree).
//
// Both node types carry left, right, parent, balance (-1 left-heavy, 0, +1 right-heavy) and rank
// (1 + nodes of the left subtree); they differ only in how they name the "is a right child" flag,
// which side_of()/set_side() overloads hide. Internal header: include it only from the trees.
#pragma once

struct avl_node;
struct dce_avl_node;

namespace ofa::foundation::avl_core {

// The side flag of each node type; defined by the tree that owns the type.
bool side_of(const ::avl_node* n);
void set_side(::avl_node* n, bool right);
bool side_of(const ::dce_avl_node* n);
void set_side(::dce_avl_node* n, bool right);

// Puts child under parent on the given side, or at the root when parent is null.
template <class N>
void link_child(N** root, N* parent, bool right, N* child) {
  if (parent == nullptr) {
    *root = child;
    right = false;
  } else if (right) {
    parent->right = child;
  } else {
    parent->left = child;
  }
  if (child != nullptr) {
    child->parent = parent;
    set_side(child, right);
  }
}

// n goes down to the right, its left child rises; n loses the rank of the child that rose.
template <class N>
N* rotate_right(N** root, N* n) {
  N* c = n->left;
  N* p = n->parent;
  bool right = p != nullptr && side_of(n);
  n->left = c->right;
  if (n->left != nullptr) {
    n->left->parent = n;
    set_side(n->left, false);
  }
  c->right = n;
  n->parent = c;
  set_side(n, true);
  link_child(root, p, right, c);
  n->rank -= c->rank;
  return c;
}

// n goes down to the left, its right child rises and gains the rank of n.
template <class N>
N* rotate_left(N** root, N* n) {
  N* c = n->right;
  N* p = n->parent;
  bool right = p != nullptr && side_of(n);
  n->right = c->left;
  if (n->right != nullptr) {
    n->right->parent = n;
    set_side(n->right, true);
  }
  c->left = n;
  n->parent = c;
  set_side(n, false);
  link_child(root, p, right, c);
  c->rank += n->rank;
  return c;
}

// Rebalances n, which is too heavy on its left (heavy_right false) or right side. Gives the new
// root of the subtree; *shrunk tells whether the subtree's height went down by the rotation.
template <class N>
N* rebalance(N** root, N* n, bool heavy_right, bool* shrunk) {
  if (!heavy_right) {
    N* c = n->left;
    if (c->balance > 0) {
      N* g = c->right;
      rotate_left(root, c);
      rotate_right(root, n);
      n->balance = g->balance < 0 ? 1 : 0;
      c->balance = g->balance > 0 ? -1 : 0;
      g->balance = 0;
      *shrunk = true;
      return g;
    }
    rotate_right(root, n);
    c->balance += 1;
    n->balance = -c->balance;
    *shrunk = c->balance == 0;
    return c;
  }
  N* c = n->right;
  if (c->balance < 0) {
    N* g = c->left;
    rotate_right(root, c);
    rotate_left(root, n);
    n->balance = g->balance > 0 ? -1 : 0;
    c->balance = g->balance < 0 ? 1 : 0;
    g->balance = 0;
    *shrunk = true;
    return g;
  }
  rotate_left(root, n);
  c->balance -= 1;
  n->balance = -c->balance;
  *shrunk = c->balance == 0;
  return c;
}

// Links a fresh node (balance 0, rank 1) as the given child of parent (null: as the root),
// raises the rank of every ancestor it lies to the left of, then walks up correcting balances.
template <class N>
void insert_leaf(N** root, N* parent, bool right, N* n) {
  n->left = n->right = nullptr;
  n->balance = 0;
  n->rank = 1;
  link_child(root, parent, right, n);
  for (N* c = n; c->parent != nullptr; c = c->parent) {
    if (!side_of(c)) c->parent->rank += 1;
  }
  for (N* p = n->parent; p != nullptr; n = p, p = n->parent) {
    int dir = side_of(n) ? 1 : -1;
    if (p->balance == -dir) {
      p->balance = 0;
      return;
    }
    if (p->balance == 0) {
      p->balance = dir;
      continue;
    }
    bool shrunk = false;
    rebalance(root, p, dir > 0, &shrunk);
    return;
  }
}

// Swaps x (two children) with its in-order successor s by relinking, so that callers' pointers
// to both records stay good. Afterwards x has no left child.
template <class N>
void swap_with_successor(N** root, N* x, N* s) {
  N* xp = x->parent;
  bool xright = xp != nullptr && side_of(x);
  N* xl = x->left;
  N* xr = x->right;
  N* sr = s->right;
  N* sp = s->parent;
  link_child(root, xp, xright, s);
  link_child(root, s, false, xl);
  if (s == xr) {
    link_child(root, s, true, x);
  } else {
    link_child(root, s, true, xr);
    link_child(root, sp, false, x);
  }
  x->left = nullptr;
  x->right = nullptr;
  link_child(root, x, true, sr);
  auto bal = x->balance;
  auto rank = x->rank;
  x->balance = s->balance;
  x->rank = s->rank;
  s->balance = bal;
  s->rank = rank;
}

// Unlinks x. Ranks of the ancestors reached from their left side go down by one; with rebalance
// the balances are corrected upward until a subtree keeps its height.
template <class N>
void erase(N** root, N* x, bool rebalance_tree) {
  if (x->left != nullptr && x->right != nullptr) {
    N* s = x->right;
    while (s->left != nullptr)
      s = s->left;
    swap_with_successor(root, x, s);
  }
  N* child = x->left != nullptr ? x->left : x->right;
  N* p = x->parent;
  bool right = p != nullptr && side_of(x);
  link_child(root, p, right, child);
  x->parent = x->left = x->right = nullptr;

  bool from_right = right;
  for (N* a = p; a != nullptr; a = a->parent) {
    if (!from_right) a->rank -= 1;
    from_right = a->parent != nullptr && side_of(a);
  }
  if (!rebalance_tree) return;

  for (N* a = p; a != nullptr;) {
    int dir = right ? 1 : -1;  // the side that lost height
    if (a->balance == dir) {
      a->balance = 0;
    } else if (a->balance == 0) {
      a->balance = -dir;
      return;
    } else {
      bool shrunk = false;
      a = rebalance(root, a, dir < 0, &shrunk);
      if (!shrunk) return;
    }
    right = a->parent != nullptr && side_of(a);
    a = a->parent;
  }
}

template <class N>
N* leftmost(N* n) {
  if (n != nullptr)
    while (n->left != nullptr)
      n = n->left;
  return n;
}

template <class N>
N* rightmost(N* n) {
  if (n != nullptr)
    while (n->right != nullptr)
      n = n->right;
  return n;
}

template <class N>
N* successor(N* n) {
  if (n->right != nullptr) return leftmost(n->right);
  while (n->parent != nullptr && side_of(n))
    n = n->parent;
  return n->parent;
}

template <class N>
N* predecessor(N* n) {
  if (n->left != nullptr) return rightmost(n->left);
  while (n->parent != nullptr && !side_of(n))
    n = n->parent;
  return n->parent;
}

}  // namespace ofa::foundation::avl_core
