#include "kvf/package/StartClassGuess.h"

#include <algorithm>
#include <string_view>

#include "kvf/formats/Archive.h"
#include "kvf/formats/ClassFile.h"

std::vector<std::string> classesWithMain(const std::filesystem::path& archive) {
  constexpr std::string_view suffix = ".class";
  const Archive entries(archive);
  std::vector<std::string> names;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const std::string name(entries.nameAt(i));
    const bool isCandidate = name.ends_with(suffix) && name.find('$') == std::string::npos &&
                             !name.starts_with("META-INF/");
    if (!isCandidate) continue;
    const auto bytes = entries.read(name);
    const auto parsed = bytes ? parseClassFile(*bytes) : std::nullopt;
    const ClassMethod* main =
        parsed ? parsed->staticMethod("main", "([Ljava/lang/String;)V") : nullptr;
    if (main == nullptr || !main->isPublic()) continue;
    names.push_back(name.substr(0, name.size() - suffix.size()));
    std::replace(names.back().begin(), names.back().end(), '/', '.');
  }
  std::sort(names.begin(), names.end());
  return names;
}
