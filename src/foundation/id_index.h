// id_index<T, Key>: finds a record by its key (a 32-bit id by default) in one place, for a table
// whose own structure is kept for its order and not for lookups. Another key type brings its ==
// and an id_index_value(key) found beside it: the number it is placed by, as an id is by itself.
//
// Open addressing with linear probing in one array of (id, record) slots, a power of two long,
// grown to twice its length before it is more than 4/5 full; a delete moves the slots behind it
// back so that no probe sequence is broken. Every id is allowed; a null record marks a free slot,
// so null cannot be stored. No heap: insert answers false and leaves the index as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace ofa::foundation {

inline uint64_t id_index_value(uint32_t id) {
  return id;
}

template <class T, class Key = uint32_t>
class id_index {
 public:
  T* find(const Key& id) const {
    if (count_ == 0) return nullptr;
    for (size_t i = home(id);; i = (i + 1) & mask_) {
      const slot& s = slots_[i];
      if (s.record == nullptr) return nullptr;
      if (s.id == id) return s.record;
    }
  }

  // Sets the record of id (a new id, or a new record for one present): false when the index
  // cannot grow.
  bool insert(const Key& id, T* record) {
    if (record == nullptr) return false;
    if ((count_ + 1) * 5 > capacity() * 4 && !grow()) return false;
    size_t i = home(id);
    for (; slots_[i].record != nullptr; i = (i + 1) & mask_) {
      if (slots_[i].id == id) {
        slots_[i].record = record;
        return true;
      }
    }
    slots_[i] = {id, record};
    ++count_;
    return true;
  }

  void erase(const Key& id) {
    if (count_ == 0) return;
    size_t i = home(id);
    for (; slots_[i].id != id; i = (i + 1) & mask_)
      if (slots_[i].record == nullptr) return;
    if (slots_[i].record == nullptr) return;
    // Moves back each later slot of the run whose home does not lie between the gap and it.
    for (size_t j = (i + 1) & mask_; slots_[j].record != nullptr; j = (j + 1) & mask_) {
      size_t h = home(slots_[j].id);
      if (((j - h) & mask_) >= ((j - i) & mask_)) {
        slots_[i] = slots_[j];
        i = j;
      }
    }
    slots_[i] = {};
    --count_;
  }

  void clear() {
    slots_.reset();
    mask_ = 0;
    shift_ = 64;
    count_ = 0;
  }

  size_t size() const { return count_; }
  size_t capacity() const { return slots_ ? mask_ + 1 : 0; }

 private:
  struct slot {
    Key id{};
    T* record = nullptr;
  };

  size_t home(const Key& key) const {
    // Ids go in groups of four consecutive ones, each group to a place of its own by Fibonacci
    // hashing (the product's top bits): a run of ids as managers give them reads one line in
    // four, and runs of taken slots stay short, so that a delete moves back few slots.
    uint64_t id = id_index_value(key);
    uint64_t group = ((id >> 2) * 0x9E3779B97F4A7C15ull) >> shift_;
    return static_cast<size_t>((group << 2) | (id & 3u)) & mask_;
  }

  bool grow() {
    size_t old_length = capacity();
    size_t length = old_length ? 2 * old_length : 64;
    std::unique_ptr<slot[]> fresh(new (std::nothrow) slot[length]);
    if (!fresh) return false;
    std::unique_ptr<slot[]> old = std::move(slots_);
    slots_ = std::move(fresh);
    mask_ = length - 1;
    shift_ = 64 - static_cast<unsigned>(__builtin_ctzll(length)) + 2;
    for (size_t k = 0; k < old_length; ++k) {
      if (old[k].record == nullptr) continue;
      size_t i = home(old[k].id);
      while (slots_[i].record != nullptr)
        i = (i + 1) & mask_;
      slots_[i] = old[k];
    }
    return true;
  }

  std::unique_ptr<slot[]> slots_;
  size_t mask_ = 0;
  unsigned shift_ = 64;  // 64 - log2 of the groups: the product's top bits pick the group
  size_t count_ = 0;
};

}  // namespace ofa::foundation
