#include "support/Replay.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

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

}  // namespace

void replay(const std::string& corpus, void (*fuzz)(std::string_view input)) {
  constexpr std::size_t inputs = 20'000;
  constexpr std::size_t pieceLengths[] = {2, 8, 30};
  std::mt19937 random(20260101);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same run every time
  const Texts seeds = filesIn(corpus);
  for (std::size_t i = 0; i < inputs; ++i) {
    std::string input = i < seeds.size() ? seeds[i] : "";
    for (std::size_t pieces = i < seeds.size() ? 0 : random() % 30; pieces > 0; --pieces) {
      const std::string& seed = seeds[random() % seeds.size()];
      input += seed.substr(random() % seed.size(), random() % pieceLengths[random() % 3]);
    }
    ASSERT_NO_THROW(fuzz(input)) << testing::PrintToString(input);
  }
}
