#ifndef VELOX_FOUNDATION_JMAP_H
#define VELOX_FOUNDATION_JMAP_H

#include <memory>
#include <utility>
#include <vector>

#include "foundation/JHash.h"

/// A chained hash map with a fixed number of buckets.
///
/// The enumeration order is part of what callers see: buckets in increasing index, within a bucket
/// from the newest key to the oldest. Overwriting a value does not move its entry.
template <class K, class V>
class JMap : public JHash {
  struct Entry {
    K key;
    V value;
    unsigned int hash;
    std::unique_ptr<Entry> next;
    Entry* previous;
  };

 public:
  /// REQUIRES: buckets > 0.
  explicit JMap(int buckets) : buckets_(static_cast<std::size_t>(buckets)) {}
  ~JMap() override { clear(); }
  JMap(const JMap&) = delete;
  JMap(JMap&&) = delete;
  JMap& operator=(const JMap&) = delete;
  JMap& operator=(JMap&&) = delete;

  /// Adds the entry or overwrites its value.
  void put(const K& key, const V& value) {
    const unsigned int hash = getHashIndex(key);
    if (Entry* existing = findEntry(key, hash)) {
      existing->value = value;
      return;
    }
    std::unique_ptr<Entry>& head = buckets_[bucketOf(hash)];
    auto entry = std::make_unique<Entry>(Entry{key, value, hash, std::move(head), nullptr});
    if (entry->next) entry->next->previous = entry.get();
    head = std::move(entry);
    ++size_;
  }

  /// The value of the key, or null; valid until the entry is overwritten or the map cleared.
  [[nodiscard]] const V* get(const K& key) const {
    const Entry* entry = findEntry(key, getHashIndex(key));
    return entry == nullptr ? nullptr : &entry->value;
  }

  void clear() {
    for (std::unique_ptr<Entry>& head : buckets_) {
      // One by one: letting a chain destroy itself would recurse once an entry.
      while (head) head = std::move(head->next);
    }
    size_ = 0;
  }

  /// The number of entries.
  [[nodiscard]] int size() const { return size_; }

  /// Walks a map; REQUIRES that the map does not change meanwhile and outlives the cursor.
  class Cursor {
   public:
    explicit Cursor(const JMap& map) : map_(&map) { skipEmptyBuckets(); }

    /// The current entry through the arguments, which stay untouched at the end (false).
    bool next(const K*& key, const V*& value) {
      if (entry_ == nullptr) return false;
      key = &entry_->key;
      value = &entry_->value;
      entry_ = entry_->next.get();
      skipEmptyBuckets();
      return true;
    }

   private:
    void skipEmptyBuckets() {
      while (entry_ == nullptr && nextBucket_ < map_->buckets_.size()) {
        entry_ = map_->buckets_[nextBucket_++].get();
      }
    }

    const JMap* map_;
    std::size_t nextBucket_ = 0;
    const Entry* entry_ = nullptr;
  };

 private:
  [[nodiscard]] std::size_t bucketOf(unsigned int hash) const {
    return (hash & 0x7FFFFFFFU) % buckets_.size();
  }

  [[nodiscard]] Entry* findEntry(const K& key, unsigned int hash) const {
    for (Entry* entry = buckets_[bucketOf(hash)].get(); entry != nullptr;
         entry = entry->next.get()) {
      if (entry->hash == hash && entry->key == key) return entry;
    }
    return nullptr;
  }

  std::vector<std::unique_ptr<Entry>> buckets_;
  int size_ = 0;
};

#endif
