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
#include "support/Sandbox.h"
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

/// A few bytes changed, and sometimes the end cut off.
std::string damaged(std::string seed, std::mt19937& random) {
  for (std::size_t changes = random() % 4; changes > 0; --changes)
    seed[random() % seed.size()] = static_cast<char>(random());
  if (random() % 4 == 0) seed.resize(random() % seed.size());
  return seed;
}

/// Calls use(input) for each of them.
template <class Use>
void forEachInput(const Texts& seeds, std::size_t inputs, Use&& use) {
  constexpr std::size_t pieceLengths[] = {2, 8, 30};
  for (const std::string& seed : seeds) use(seed);
  std::mt19937 random(20260101);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run every time
  for (std::size_t i = 0; i < inputs; i += 2) {
    use(damaged(seeds[random() % seeds.size()], random));
    std::string input;
    for (std::size_t pieces = random() % 30; pieces > 0; --pieces) {
      const std::string& seed = seeds[random() % seeds.size()];
      input += seed.substr(random() % seed.size(), random() % pieceLengths[random() % 3]);
    }
    use(input);
  }
}

}  // namespace

void replay(const std::string& corpus, std::size_t inputs, void (*fuzz)(std::string_view input)) {
  const Sandbox sandbox;
  const auto action = [&] {
    // What an input searches is empty.
    std::filesystem::current_path(sandbox.path());
    forEachInput(filesIn(corpus), inputs, [&](const std::string& input) {
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
