#include "foundation/Properties.h"

#include <algorithm>
#include <list>
#include <random>

#include <gtest/gtest.h>

#include "support/Values.h"

namespace {

TEST(Properties, OnlyAnAbsentKeyLeavesTheValue) {
  const SimpleProperties properties = props({{"empty", ""}});
  EXPECT_EQ(properties.valueOf("b", "before"), "before");
  EXPECT_EQ(properties.valueOf("empty", "before"), "");
  EXPECT_TRUE(properties.contains("empty"));
  EXPECT_FALSE(properties.contains("b"));
}

unsigned int hash(const std::string& key) {
  static const JMap<WString, int> hashes(41);
  return hashes.getHashIndex(WString(key));
}

/// The property set as it is described: 41 chains, a new key goes to the head of its own.
class Model {
 public:
  void set(const std::string& key, const std::string& value) {
    auto& chain = chains_[hash(key) % 41];
    const auto found =
        std::find_if(chain.begin(), chain.end(), [&](const auto& e) { return e.first == key; });
    if (found == chain.end()) return void(chain.emplace_front(key, value));
    found->second = value;
  }

  [[nodiscard]] Entries entries() const {
    Entries all;
    for (const auto& chain : chains_) all.insert(all.end(), chain.begin(), chain.end());
    return all;
  }

  [[nodiscard]] Model copy() const {
    Model other;
    for (const auto& [key, value] : entries()) other.set(key, value);
    return other;
  }

 private:
  std::vector<std::list<Entries::value_type>> chains_{41};
};

TEST(Properties, RandomSetsAndCopiesEnumerateLikeChains) {
  std::mt19937 random(20260101);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run every time
  // "1A" and "21" have the same hash, so keys of these share whole chains and hashes.
  const std::string pieces[] = {"1A", "21", "a", "key.", std::string(70, 'x')};
  for (int round = 0; round < 20; ++round) {
    Model model;
    SimpleProperties set;
    for (int i = 0; i < 100 * round; ++i) {
      std::string key;
      for (unsigned length = random() % 8; length > 0; --length) key += pieces[random() % 5];
      const std::string value = std::to_string(i);
      model.set(key, value);
      set.set(WString(key), WString(value));
      ASSERT_EQ(set.valueOf(WString(key)), value.c_str()) << key;
      if (random() % 200 != 0) continue;
      model = model.copy();
      SimpleProperties copy = props({{"gone", ""}});
      copy = set;
      set = random() % 2 == 0 ? std::move(copy) : set.moveAsCopy();
    }
    ASSERT_EQ(entriesOf(set), model.entries()) << "round " << round;
    ASSERT_EQ(set.size(), static_cast<int>(model.entries().size()));
    ASSERT_FALSE(set.contains("absent"));
  }
}

}  // namespace
