#pragma once

#include <cstddef>
#include <iterator>
#include <unordered_map>
#include <utility>
#include <vector>

#include "foundation/runtime/NSObject.h"

TELVO_INTERNAL_NAMESPACE_BEGIN

namespace foundation {

// Entries in the order in which they were added, each found by its key; what dictionaries and sets are made of. Adding,
// finding and removing take constant time on average, wherever the entry stands. KeyOf gives an entry's key, which is
// nil for an entry that was removed and for no other.
template <class Entry, class KeyOf>
class OrderedTable {
 public:
  // Goes over the entries that there are. Any change to the table ends its use.
  class const_iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Entry;
    using difference_type = std::ptrdiff_t;
    using pointer = const Entry*;
    using reference = const Entry&;

    const_iterator() = default;
    const_iterator(const Entry* at, const Entry* end) : at_(at), end_(end) {}

    reference operator*() const { return *at_; }
    pointer operator->() const { return at_; }
    const_iterator& operator++() {
      do {
        ++at_;
      } while (at_ != end_ && !KeyOf()(*at_));
      return *this;
    }
    const_iterator operator++(int) {
      const const_iterator before = *this;
      ++*this;
      return before;
    }
    bool operator==(const const_iterator& other) const { return at_ == other.at_; }

   private:
    const Entry* at_ = nullptr;
    const Entry* end_ = nullptr;
  };

  std::size_t size() const { return entries_.size() - removed_; }
  // The entry at the front is never one that was removed.
  const_iterator begin() const { return {entries_.data() + first_, entries_.data() + entries_.size()}; }
  const_iterator end() const { return {entries_.data() + entries_.size(), entries_.data() + entries_.size()}; }

  // Null for a key that is not there, and for nil.
  const Entry* find(const id& key) const {
    const std::size_t position = positionOf(key);
    return position == entries_.size() ? nullptr : &entries_[position];
  }
  Entry* find(const id& key) { return const_cast<Entry*>(std::as_const(*this).find(key)); }

  void reserve(std::size_t count) { entries_.reserve(count); }

  // Its key must not be there yet.
  void add(Entry entry) {
    entries_.push_back(std::move(entry));
    if (!index_.empty()) {
      index_.emplace(KeyOf()(entries_.back()), entries_.size() - 1);
    } else if (entries_.size() >= indexedFrom) {
      index_.reserve(entries_.capacity());
      for (std::size_t position = 0; position < entries_.size(); ++position) {
        index_.emplace(KeyOf()(entries_[position]), position);
      }
    }
  }

  // A key that is not there is no error.
  void remove(const id& key) {
    const std::size_t position = positionOf(key);
    if (position == entries_.size()) return;
    const auto indexed = index_.find(KeyOf()(entries_[position]));
    if (indexed != index_.end()) index_.erase(indexed);
    // Kept until the table is in order again: what is destroyed with it may look into the table.
    const Entry removed = std::exchange(entries_[position], Entry());
    ++removed_;
    if (index_.empty() || removed_ > entries_.size() / 2) {
      closeGaps();
    } else {
      while (!KeyOf()(entries_[first_])) ++first_;
    }
  }

  void clear() {
    OrderedTable emptied;
    std::swap(*this, emptied);
  }

 private:
  // Records have a handful of keys, so small tables are searched in line; the index exists from a size on where that
  // would cost.
  static constexpr std::size_t indexedFrom = 9;

  std::size_t positionOf(const id& key) const {
    if (!key) return entries_.size();
    if (!index_.empty()) {
      const auto found = index_.find(key);
      return found == index_.end() ? entries_.size() : found->second;
    }
    std::size_t position = 0;
    while (position < entries_.size() && !NSEqualObjects(KeyOf()(entries_[position]), key)) ++position;
    return position;
  }

  void closeGaps() {
    std::erase_if(entries_, [](const Entry& entry) { return !KeyOf()(entry); });
    removed_ = 0;
    first_ = 0;
    if (index_.empty()) return;
    for (std::size_t position = 0; position < entries_.size(); ++position) {
      index_.find(KeyOf()(entries_[position]))->second = position;
    }
  }

  std::vector<Entry> entries_;  // with gaps where entries were removed, less than there are entries
  std::size_t removed_ = 0;
  std::size_t first_ = 0;                                                   // the first entry that is no gap
  std::unordered_map<id, std::size_t, NSObjectHash, NSObjectEqual> index_;  // empty while the table is small
};

}  // namespace foundation

TELVO_INTERNAL_NAMESPACE_END
