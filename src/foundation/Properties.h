#ifndef VELOX_FOUNDATION_PROPERTIES_H
#define VELOX_FOUNDATION_PROPERTIES_H

#include <memory>

#include "foundation/JMap.h"
#include "foundation/WString.h"

/// Walks the entries of a property set once.
class PropertiesEnumerator {
 public:
  PropertiesEnumerator() = default;
  PropertiesEnumerator(const PropertiesEnumerator&) = delete;
  PropertiesEnumerator& operator=(const PropertiesEnumerator&) = delete;
  virtual ~PropertiesEnumerator() = default;

  /// Copies the next entry into the arguments; false, with both untouched, at the end.
  virtual bool next(WString& key, WString& value) = 0;
};

/// A set of string properties. Keys are case-sensitive, the last set() of a key wins, and an empty
/// value is still present.
class Properties {
 public:
  virtual ~Properties() = default;

  virtual void set(const WString& key, const WString& value) = 0;
  /// False, with `value` untouched, when the key is absent.
  virtual bool get(const WString& key, WString& value) const = 0;
  /// Belongs to the caller. REQUIRES: the set outlives it and does not change meanwhile.
  [[nodiscard]] virtual std::unique_ptr<PropertiesEnumerator> newEnumerator() const = 0;

  [[nodiscard]] bool contains(const WString& key) const {
    WString value;
    return get(key, value);
  }

  /// The value, or `fallback` when the key is absent.
  [[nodiscard]] WString valueOf(const WString& key, WString fallback = {}) const {
    get(key, fallback);
    return fallback;
  }

  /// Calls visit(key, value) for every entry in enumeration order.
  template <class Visit>
  void forEach(Visit&& visit) const {
    const std::unique_ptr<PropertiesEnumerator> entries = newEnumerator();
    for (WString key, value; entries->next(key, value);) visit(key, value);
  }

 protected:
  Properties() = default;
  Properties(const Properties&) = default;
  Properties(Properties&&) = default;
  Properties& operator=(const Properties&) = default;
  Properties& operator=(Properties&&) = default;
};

/// The property set on a hash map of 41 buckets. Exhausted memory throws the default memory
/// exception.
class SimpleProperties : public Properties {
 public:
  using Map = JMap<WString, WString>;

  /// An empty set needs no memory, so one may be constructed before `main`.
  SimpleProperties() noexcept = default;
  /// Copies by enumerating, so entries that share a bucket come out in reverse order.
  SimpleProperties(const SimpleProperties& source);
  /// Leaves `source` empty.
  SimpleProperties(SimpleProperties&& source) noexcept = default;
  SimpleProperties& operator=(const SimpleProperties& source);
  SimpleProperties& operator=(SimpleProperties&& source) noexcept = default;
  ~SimpleProperties() override = default;

  /// The same as a copy, order included, of the entries themselves; leaves this set empty.
  [[nodiscard]] SimpleProperties moveAsCopy();

  void set(const WString& key, const WString& value) override;
  bool get(const WString& key, WString& value) const override;
  [[nodiscard]] std::unique_ptr<PropertiesEnumerator> newEnumerator() const override;

  /// The number of entries.
  [[nodiscard]] int size() const { return map_ ? map_->size() : 0; }

 private:
  std::unique_ptr<Map> map_;  ///< made with the first entry
};

/// See Properties::newEnumerator.
class SimplePropertiesEnumerator : public PropertiesEnumerator {
 public:
  explicit SimplePropertiesEnumerator(const SimpleProperties::Map& map) : cursor_(map) {}
  bool next(WString& key, WString& value) override;

 private:
  SimpleProperties::Map::Cursor cursor_;
};

#endif
