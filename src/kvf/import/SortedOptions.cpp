#include "kvf/import/SortedOptions.h"

#include <algorithm>
#include <iterator>
#include <map>

#include "foundation/PropertyKeys.h"

namespace {

/// The launcher puts these after all others, where they would overrule options that follow them
/// here.
struct SizeKey {
  std::string_view prefix;
  const char* key;
  std::vector<std::string_view> rivals;
};
const SizeKey sizeKeys[] = {
    {"-Xmx", keys::heapSizeMax, {"-XX:MaxHeapSize="}},
    {"-Xms", keys::heapSizeInitial, {"-XX:InitialHeapSize=", "-XX:MinHeapSize="}},
    {"-Xss", keys::threadStackSize, {"-XX:ThreadStackSize=", "-XX:MainThreadStackSize="}},
};
constexpr std::string_view optionFiles[] = {
    "-XX:Flags=", "-XX:VMOptionsFile=", "-XX:+ReadVMOptions"};

/// The sizes that keys of their own can give as well as these options do.
std::vector<const SizeKey*> usableSizeKeys(const std::vector<SourcedWord>& options) {
  const auto isThere = [&](std::string_view start) {
    return std::any_of(options.begin(), options.end(),
                       [&](const SourcedWord& each) { return each.text.starts_with(start); });
  };
  std::vector<const SizeKey*> usable;
  if (std::any_of(std::begin(optionFiles), std::end(optionFiles), isThere)) return usable;
  for (const SizeKey& size : sizeKeys)
    if (std::none_of(size.rivals.begin(), size.rivals.end(), isThere)) usable.push_back(&size);
  return usable;
}

}  // namespace

SortedOptions sorted(const std::vector<SourcedWord>& options) {
  const std::vector<const SizeKey*> sizes = usableSizeKeys(options);
  std::map<const SizeKey*, const SourcedWord*> lastSizes;
  std::map<std::string, std::size_t> places;  // of the properties
  SortedOptions result;
  for (const SourcedWord& option : options) {
    const auto size = std::find_if(sizes.begin(), sizes.end(), [&](const SizeKey* each) {
      return option.text.starts_with(each->prefix) && option.text.size() > each->prefix.size();
    });
    const std::size_t equals = option.text.find('=');
    if (size != sizes.end()) {
      lastSizes[*size] = &option;
    } else if (option.text.starts_with("-D") && equals != std::string::npos && equals > 2) {
      const std::string name = option.text.substr(2, equals - 2);
      const auto [place, isNew] = places.emplace(name, result.properties.size());
      if (isNew) result.properties.push_back({name, &option});
      result.properties[place->second].option = &option;
    } else {
      result.others.push_back(&option);
    }
  }
  for (const auto& [size, option] : lastSizes)
    result.sizes.push_back({size->prefix, size->key, option});
  // An option without a value would overrule one with a value.
  std::erase_if(result.others, [&](const SourcedWord* option) {
    if (!option->text.starts_with("-D")) return false;
    const auto place = places.find(option->text.substr(2));
    return place != places.end() && result.properties[place->second].option > option;
  });
  return result;
}
