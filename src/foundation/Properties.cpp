#include "foundation/Properties.h"

#include "foundation/WException.h"

namespace {

constexpr int bucketCount = 41;

std::unique_ptr<SimpleProperties::Map> newMap() {
  return withMemoryException([] { return std::make_unique<SimpleProperties::Map>(bucketCount); });
}

}  // namespace

SimpleProperties::SimpleProperties() : map_(newMap()) {}

SimpleProperties::SimpleProperties(const SimpleProperties& source) : SimpleProperties() {
  source.forEach([this](const WString& key, const WString& value) { set(key, value); });
}

SimpleProperties& SimpleProperties::operator=(const SimpleProperties& source) {
  *this = SimpleProperties(source);
  return *this;
}

void SimpleProperties::set(const WString& key, const WString& value) {
  withMemoryException([&] { map_->put(key, value); });
}

bool SimpleProperties::get(const WString& key, WString& value) const {
  const WString* found = map_->get(key);
  if (found == nullptr) return false;
  value = *found;
  return true;
}

std::unique_ptr<PropertiesEnumerator> SimpleProperties::newEnumerator() const {
  return withMemoryException([&] { return std::make_unique<SimplePropertiesEnumerator>(*map_); });
}

bool SimplePropertiesEnumerator::next(WString& key, WString& value) {
  const WString* currentKey = nullptr;
  const WString* currentValue = nullptr;
  if (!cursor_.next(currentKey, currentValue)) return false;
  key = *currentKey;
  value = *currentValue;
  return true;
}
