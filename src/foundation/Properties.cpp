#include "foundation/Properties.h"

#include <utility>

#include "foundation/WString.h"

namespace {

constexpr int bucketCount = 41;

}  // namespace

SimpleProperties::SimpleProperties(const SimpleProperties& source) {
  if (!source.map_) return;
  map_ = withMemoryException([] { return std::make_unique<Map>(bucketCount); });
  withMemoryException([&] { map_->putAll(*source.map_); });
}

SimpleProperties& SimpleProperties::operator=(const SimpleProperties& source) {
  *this = SimpleProperties(source);
  return *this;
}

SimpleProperties SimpleProperties::moveAsCopy() {
  if (map_) map_->reverseChains();
  return std::move(*this);
}

void SimpleProperties::set(const WString& key, const WString& value) {
  withMemoryException([&] {
    if (!map_) map_ = std::make_unique<Map>(bucketCount);
    map_->put(key, value);
  });
}

bool SimpleProperties::get(const WString& key, WString& value) const {
  const WString* found = map_ ? map_->get(key) : nullptr;
  if (found == nullptr) return false;
  value = *found;
  return true;
}

std::unique_ptr<PropertiesEnumerator> SimpleProperties::newEnumerator() const {
  return withMemoryException([&] {
    static const Map none(1);
    return std::make_unique<SimplePropertiesEnumerator>(map_ ? *map_ : none);
  });
}

bool SimplePropertiesEnumerator::next(WString& key, WString& value) {
  const WString* currentKey = nullptr;
  const WString* currentValue = nullptr;
  if (!cursor_.next(currentKey, currentValue)) return false;
  key = *currentKey;
  value = *currentValue;
  return true;
}
