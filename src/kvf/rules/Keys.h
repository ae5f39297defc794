#ifndef VELOX_KVF_RULES_KEYS_H
#define VELOX_KVF_RULES_KEYS_H

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// The one table of property keys: what each one is, what it becomes and what its traps are. `kvf`
/// reads it to find misspelt keys and to explain values; the reference page kvf(5) is generated
/// from it with `kvf keys --scd`, which prints one scdoc entry a key, section by section.

/// Who sets a key.
enum class KeyUse {
  file,      ///< properties files set it
  launcher,  ///< the launcher or its command line sets it; files may refer to it
  windows,   ///< read by the Windows launcher alone
};

/// What a value names, where it names something that can be looked for.
enum class KeyNames {
  nothing,
  fileAtLauncher,  ///< a file or folder, from the launcher's working directory
  file,            ///< from the application's
  files,           ///< several, between ":" or ";"
  startClass
};

struct KeyInfo {
  const char* name;            ///< of a family: the prefix, which ends where the user's part begins
  const char* rest = nullptr;  ///< of a family: what follows, for show ("NAME")
  const char* section;         ///< headline on the reference page
  const char* type = "";       ///< what a value looks like
  const char* fallback = "";   ///< what counts while the key is absent
  const char* becomes = "";    ///< what the launcher makes of it
  const char* traps = "";      ///< in a sentence or two
  /// What an empty value does, where that differs from an absent key.
  const char* whenEmpty = nullptr;
  KeyUse use = KeyUse::file;
  KeyNames names = KeyNames::nothing;
  bool fatalWhenEmpty = false;  ///< an empty value ends the launch
};

/// Every key, in the order of the reference page.
std::span<const KeyInfo> allKeys();

/// The entry for a key, also one of a family; null for an unknown key.
const KeyInfo* findKey(std::string_view key);

/// The names that a properties file may set, for the search of the nearest one.
std::vector<std::string_view> settableKeys();

/// The table as the body of a scdoc page.
std::string keysAsScdoc();

#endif
