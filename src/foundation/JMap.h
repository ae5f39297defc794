#ifndef VELOX_FOUNDATION_JMAP_H
#define VELOX_FOUNDATION_JMAP_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <unordered_map>
#include <utility>
#include <vector>

#include "foundation/WString.h"

/// Hashes of the key types that a JMap may have.
class JHash {
 public:
  [[nodiscard]] virtual unsigned int getHashIndex(const void* key) const {
    return static_cast<unsigned int>(reinterpret_cast<std::uintptr_t>(key));
  }
  [[nodiscard]] virtual unsigned int getHashIndex(int key) const {
    return static_cast<unsigned int>(key);
  }
  [[nodiscard]] virtual unsigned int getHashIndex(long key) const {
    return static_cast<unsigned int>(key);
  }
  /// The ELF hash. Characters count as signed, so bytes above 127 subtract.
  [[nodiscard]] virtual unsigned int getHashIndex(const WString& key) const {
    unsigned int hash = 0;
    for (const char c : key.view()) {
      hash = hash * 16 + static_cast<unsigned int>(static_cast<signed char>(c));
      const unsigned int top = hash & 0xF0000000U;
      hash = (hash ^ (top >> 24U)) & ~top;
    }
    return hash;
  }

 protected:
  ~JHash() = default;
  JHash() = default;
  JHash(const JHash&) = default;
  JHash(JHash&&) = default;
  JHash& operator=(const JHash&) = default;
  JHash& operator=(JHash&&) = default;
};

/// A hash map with a fixed number of buckets, each a chain of entries.
///
/// The enumeration order is part of what callers see: buckets in increasing index, within a bucket
/// from the newest key to the oldest. Overwriting a value does not move its entry.
///
/// The chains serve the order alone. Entries are found through std::hash, whatever their number.
template <class K, class V>
class JMap : public JHash {
  struct Chained;
  using Entry = std::pair<const K, Chained>;
  struct Chained {
    template <class From>
    Chained(std::in_place_t /*tag*/, From&& from) : value(std::forward<From>(from)) {}

    V value;
    Entry* older = nullptr;  ///< the next entry of the bucket
  };

 public:
  /// REQUIRES: buckets > 0.
  explicit JMap(int buckets) : newest_(static_cast<std::size_t>(buckets)) {}
  virtual ~JMap() = default;
  JMap(const JMap&) = delete;
  JMap(JMap&&) = delete;
  JMap& operator=(const JMap&) = delete;
  JMap& operator=(JMap&&) = delete;

  /// Adds the entry or overwrites its value, with a V or what a V is made of.
  template <class From>
  void put(const K& key, From&& value) {
    const auto [place, added] = entries_.try_emplace(key, std::in_place, std::forward<From>(value));
    if (!added) {
      // try_emplace has not touched it.
      place->second.value = std::forward<From>(value);  // NOLINT(bugprone-use-after-move)
      return;
    }
    place->second.older = std::exchange(newest_[bucketOf(key)], &*place);
  }

  /// Puts every entry of the other map, in its enumeration order.
  void putAll(const JMap& other) {
    entries_.reserve(other.entries_.size());
    const K* key = nullptr;
    const V* value = nullptr;
    for (Cursor cursor(other); cursor.next(key, value);) put(*key, *value);
  }

  /// Turns every chain round, which gives the order that a copy would have.
  void reverseChains() {
    for (Entry*& newest : newest_) {
      Entry* reversed = nullptr;
      while (newest != nullptr) {
        Entry* const older = std::exchange(newest->second.older, reversed);
        reversed = std::exchange(newest, older);
      }
      newest = reversed;
    }
  }

  /// The value of the key, or null; valid until the entry is overwritten or the map cleared.
  [[nodiscard]] const V* get(const K& key) const {
    const auto found = entries_.find(key);
    return found == entries_.end() ? nullptr : &found->second.value;
  }

  void clear() {
    newest_.assign(newest_.size(), nullptr);
    entries_.clear();
  }

  /// The number of entries.
  [[nodiscard]] int size() const { return static_cast<int>(entries_.size()); }

  /// Walks a map; REQUIRES that the map does not change meanwhile and outlives the cursor.
  class Cursor {
   public:
    explicit Cursor(const JMap& map) : map_(&map) { skipEmptyBuckets(); }

    /// The current entry through the arguments, which stay untouched at the end (false).
    bool next(const K*& key, const V*& value) {
      if (entry_ == nullptr) return false;
      key = &entry_->first;
      value = &entry_->second.value;
      entry_ = entry_->second.older;
      skipEmptyBuckets();
      return true;
    }

   private:
    void skipEmptyBuckets() {
      while (entry_ == nullptr && bucket_ < map_->newest_.size()) entry_ = map_->newest_[bucket_++];
    }

    const JMap* map_;
    std::size_t bucket_ = 0;  ///< the next one to enter
    const Entry* entry_ = nullptr;
  };

 private:
  [[nodiscard]] std::size_t bucketOf(const K& key) const {
    return (getHashIndex(key) & 0x7FFFFFFFU) % newest_.size();
  }

  std::unordered_map<K, Chained> entries_;
  std::vector<Entry*> newest_;  ///< by bucket
};

#endif
