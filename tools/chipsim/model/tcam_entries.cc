// A region's entries: the slab, the chip order's links and the handle index kept together.
#include "model/tcam_entries.h"

#include <algorithm>

namespace ofa::chipsim {

TcamEntries::const_iterator TcamEntries::position(uint32_t handle) const {
  return {this, slot_of(handle)};
}

int32_t& TcamEntries::index_cell(uint32_t handle) {
  if (handle >= kDirectHandles) return far_.try_emplace(handle, kNone).first->second;
  if (handle >= direct_.size()) {
    // Grown by doubling, but never past the bound whatever the handle.
    if (handle >= direct_.capacity())
      direct_.reserve(
          std::min<size_t>(kDirectHandles, std::max<size_t>(handle + 1, 2 * direct_.capacity())));
    direct_.resize(handle + 1, kNone);
  }
  return direct_[handle];
}

TcamEntry* TcamEntries::insert(const_iterator pos, const TcamEntry& e) {
  int32_t& cell = index_cell(e.handle);
  if (cell != kNone) return nullptr;
  int32_t s;
  if (!free_.empty()) {
    s = free_.back();
    free_.pop_back();
  } else {
    s = static_cast<int32_t>(links_.size());
    links_.emplace_back();
    if ((s & kBlockMask) == 0) blocks_.push_back(std::make_unique<TcamEntry[]>(kBlockMask + 1));
  }
  at(s) = e;
  Link& l = links_[s];
  l.next = pos.slot_;
  l.prev = pos.slot_ == kNone ? tail_ : links_[pos.slot_].prev;
  (l.prev == kNone ? head_ : links_[l.prev].next) = s;
  (l.next == kNone ? tail_ : links_[l.next].prev) = s;
  cell = s;
  ++size_;
  return &at(s);
}

bool TcamEntries::erase(uint32_t handle) {
  int32_t s = slot_of(handle);
  if (s == kNone) return false;
  if (handle < kDirectHandles) {
    direct_[handle] = kNone;
  } else {
    far_.erase(handle);
  }
  Link l = links_[s];
  (l.prev == kNone ? head_ : links_[l.prev].next) = l.next;
  (l.next == kNone ? tail_ : links_[l.next].prev) = l.prev;
  links_[s] = Link{};
  free_.push_back(s);
  --size_;
  return true;
}

void TcamEntries::clear() {
  *this = TcamEntries();
}

size_t TcamEntries::index_size() const {
  return far_.size() + static_cast<size_t>(std::count_if(direct_.begin(), direct_.end(),
                                                         [](int32_t s) { return s != kNone; }));
}

bool TcamEntries::links_agree() const {
  size_t n = 0;
  int32_t prev = kNone;
  for (int32_t s = head_; s != kNone; prev = s, s = links_[s].next)
    if (s < 0 || static_cast<size_t>(s) >= links_.size() || links_[s].prev != prev || ++n > size_)
      return false;
  return prev == tail_ && n == size_ && n + free_.size() == links_.size();
}

}  // namespace ofa::chipsim
