#include "support/Replay.h"

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>

#include "support/Child.h"
#include "support/Values.h"

namespace {

Texts filesIn(const std::string& directory) {
  Texts files;
  for (const auto& entry : std::filesystem::directory_iterator(directory)) {
    std::ifstream file(entry.path(), std::ios::binary);
    files.emplace_back(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
  }
  std::sort(files.begin(), files.end());
  return files;
}

/// Calls use(input) for each of them.
template <class Use>
void forEachInput(const Texts& seeds, Use&& use) {
  constexpr std::size_t inputs = 10'000;
  constexpr std::size_t pieceLengths[] = {2, 8, 30};
  for (const std::string& seed : seeds) use(seed);
  std::mt19937 random(20260101);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run every time
  for (std::size_t i = 0; i < inputs; ++i) {
    std::string input;
    for (std::size_t pieces = random() % 30; pieces > 0; --pieces) {
      const std::string& seed = seeds[random() % seeds.size()];
      input += seed.substr(random() % seed.size(), random() % pieceLengths[random() % 3]);
    }
    use(input);
  }
}

}  // namespace

void replay(const std::string& corpus, void (*fuzz)(std::string_view input)) {
  const auto action = [&] {
    forEachInput(filesIn(corpus), [&](const std::string& input) {
      try {
        fuzz(input);
      } catch (const std::exception& difference) {
        std::cout << testing::PrintToString(input) << '\n' << difference.what() << '\n';
        std::exit(1);
      }
    });
  };
  EXPECT_EQ(inChild(action), Outcome());
}
