#ifndef VELOX_FOUNDATION_JMAP_H
#define VELOX_FOUNDATION_JMAP_H

#include <cstddef>
#include <memory>
#include <vector>

#include "foundation/JHash.h"

/// A hash map with a fixed number of buckets, each a chain of entries.
///
/// The enumeration order is part of what callers see: buckets in increasing index, within a bucket
/// from the newest key to the oldest. Overwriting a value does not move its entry.
template <class K, class V>
class JMap : public JHash {
  struct Entry {
    K key;
    V value;
  };
  /// The hash stands beside the pointer, so a long chain is searched without touching its entries.
  struct Link {
    unsigned int hash;
    std::unique_ptr<Entry> entry;
  };
  using Chain = std::vector<Link>;  ///< oldest first

 public:
  /// REQUIRES: buckets > 0.
  explicit JMap(int buckets) : buckets_(static_cast<std::size_t>(buckets)) {}
  virtual ~JMap() = default;
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
    buckets_[bucketOf(hash)].push_back({hash, std::make_unique<Entry>(Entry{key, value})});
    ++size_;
  }

  /// The value of the key, or null; valid until the entry is overwritten or the map cleared.
  [[nodiscard]] const V* get(const K& key) const {
    const Entry* entry = findEntry(key, getHashIndex(key));
    return entry == nullptr ? nullptr : &entry->value;
  }

  void clear() {
    for (Chain& chain : buckets_) chain.clear();
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
      if (left_ == 0) return false;
      const Entry& entry = *map_->buckets_[bucket_][--left_].entry;
      key = &entry.key;
      value = &entry.value;
      if (left_ == 0) {
        ++bucket_;
        skipEmptyBuckets();
      }
      return true;
    }

   private:
    void skipEmptyBuckets() {
      while (bucket_ < map_->buckets_.size() && map_->buckets_[bucket_].empty()) ++bucket_;
      if (bucket_ < map_->buckets_.size()) left_ = map_->buckets_[bucket_].size();
    }

    const JMap* map_;
    std::size_t bucket_ = 0;
    std::size_t left_ = 0;  ///< entries of the bucket that are still to come
  };

 private:
  [[nodiscard]] std::size_t bucketOf(unsigned int hash) const {
    return (hash & 0x7FFFFFFFU) % buckets_.size();
  }

  [[nodiscard]] Entry* findEntry(const K& key, unsigned int hash) const {
    for (const Link& link : buckets_[bucketOf(hash)]) {
      if (link.hash == hash && link.entry->key == key) return link.entry.get();
    }
    return nullptr;
  }

  std::vector<Chain> buckets_;
  int size_ = 0;
};

#endif
