// TCAM entries: what one holds (key and result of either device, counters), and a region's
// entries in chip order. The entries sit in a slab of fixed blocks (growing never moves them) whose
// freed slots are reused; the chip order is a doubly linked list of slot numbers in an array of its
// own, so that walking it or checking a neighbour reads 8 bytes a slot, not the entry; a handle
// finds its slot through a flat table for handles below kDirectHandles (the pool ids of the flow
// regions) and a hash map above.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <unordered_map>
#include <vector>

namespace ofa::chipsim {

using Mac = std::array<uint8_t, 6>;

// Key and result of an L2 TCAM entry (logical device 10), as the request carries them.
struct L2Key {
  uint32_t in_port = 0;
  uint32_t iivid = 0;
  uint32_t tag_value = 0;
  Mac src_mac{}, dst_mac{}, src_mac_mask{}, dst_mac_mask{};
  uint32_t vlan_prio = 0;
  uint32_t ether_type = 0;
  uint32_t vpn_id = 0;
  uint32_t tag_mask = 0;
  uint32_t valid = 0;
};

struct L2Result {
  uint32_t dest = 0;
  uint32_t policer = 0;
  uint32_t fwd_action = 0;
  uint32_t flags = 0;
  uint32_t qos = 0;
};

// Key and result of an L3 TCAM entry (logical device 23).
struct L3Key {
  uint32_t in_port = 0;
  uint32_t iivid = 0;
  uint32_t dscp = 0;
  uint32_t vlan_prio = 0;
  uint32_t src_ip = 0, dst_ip = 0;
  uint32_t ip_proto = 0;
  uint32_t vpn_id = 0;
  uint32_t l4_valid = 0;
  uint32_t l4_src = 0, l4_dst = 0;
  uint32_t valid = 0;
  uint32_t l4_src_mask = 0, l4_dst_mask = 0;
  uint32_t src_ip_mask = 0, dst_ip_mask = 0;
};

struct L3Result {
  uint32_t nhop = 0;
  uint32_t fwd_action = 0;
  uint32_t flags_a = 0;
  uint32_t flags_b = 0;
  uint32_t mcast = 0;
  uint32_t egress_valid = 0;
  uint32_t egress_if = 0;
};

struct TcamEntry {
  uint32_t handle = 0;
  L2Key l2key;  // logical device 10
  L2Result l2res;
  L3Key l3key;  // logical device 23
  L3Result l3res;
  uint64_t packets = 0;
  uint64_t bytes = 0;
  uint32_t updates = 0;
};

class TcamEntries {
  static constexpr int32_t kNone = -1;
  struct Link {
    int32_t prev = kNone, next = kNone;
  };

  template <class Owner, class Entry>
  class Iter {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = TcamEntry;
    using difference_type = std::ptrdiff_t;
    using pointer = Entry*;
    using reference = Entry&;

    Iter() = default;
    Iter(Owner* owner, int32_t slot) : owner_(owner), slot_(slot) {}
    Entry& operator*() const { return owner_->at(slot_); }
    Entry* operator->() const { return &owner_->at(slot_); }
    Iter& operator++() {
      slot_ = owner_->links_[slot_].next;
      return *this;
    }
    Iter operator++(int) {
      Iter was = *this;
      ++*this;
      return was;
    }
    bool operator==(const Iter& o) const { return slot_ == o.slot_; }

   private:
    friend class TcamEntries;
    Owner* owner_ = nullptr;
    int32_t slot_ = kNone;
  };

 public:
  // Handles below this bound find their slot in a flat table grown up to the largest one seen.
  static constexpr uint32_t kDirectHandles = 1u << 16;

  using iterator = Iter<TcamEntries, TcamEntry>;
  using const_iterator = Iter<const TcamEntries, const TcamEntry>;

  iterator begin() { return {this, head_}; }
  iterator end() { return {this, kNone}; }
  const_iterator begin() const { return {this, head_}; }
  const_iterator end() const { return {this, kNone}; }

  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }

  // The entry of a handle, or null.
  TcamEntry* find(uint32_t handle) {
    int32_t s = slot_of(handle);
    return s == kNone ? nullptr : &at(s);
  }
  const TcamEntry* find(uint32_t handle) const {
    int32_t s = slot_of(handle);
    return s == kNone ? nullptr : &at(s);
  }
  // The entry of a handle as a position in chip order; end() if there is none.
  const_iterator position(uint32_t handle) const;

  // Puts `e` ahead of `pos` (end() appends) and answers it; null, and nothing changes, if its
  // handle is in use.
  TcamEntry* insert(const_iterator pos, const TcamEntry& e);
  // Takes the entry of a handle out; false if there is none.
  bool erase(uint32_t handle);
  void clear();

  // For the consistency check: how many handles the index holds, and whether the order's back
  // links, end and count agree with its forward links.
  size_t index_size() const;
  bool links_agree() const;

 private:
  static constexpr uint32_t kBlockBits = 9;  // 512 entries a block
  static constexpr uint32_t kBlockMask = (1u << kBlockBits) - 1;

  TcamEntry& at(int32_t s) { return blocks_[s >> kBlockBits][s & kBlockMask]; }
  const TcamEntry& at(int32_t s) const { return blocks_[s >> kBlockBits][s & kBlockMask]; }
  int32_t slot_of(uint32_t handle) const {
    if (handle < kDirectHandles) return handle < direct_.size() ? direct_[handle] : kNone;
    auto it = far_.find(handle);
    return it == far_.end() ? kNone : it->second;
  }
  // The index cell of a handle, made (holding kNone) if there is none.
  int32_t& index_cell(uint32_t handle);

  std::vector<std::unique_ptr<TcamEntry[]>> blocks_;
  std::vector<Link> links_;  // one per slot
  std::vector<int32_t> free_;
  int32_t head_ = kNone, tail_ = kNone;
  size_t size_ = 0;
  std::vector<int32_t> direct_;                // handle below kDirectHandles: slot or kNone
  std::unordered_map<uint32_t, int32_t> far_;  // any other handle: slot
};

}  // namespace ofa::chipsim
