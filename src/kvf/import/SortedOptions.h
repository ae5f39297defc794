#ifndef VELOX_KVF_IMPORT_SORTEDOPTIONS_H
#define VELOX_KVF_IMPORT_SORTEDOPTIONS_H

#include <string>
#include <string_view>
#include <vector>

#include "kvf/import/JavaStart.h"

/// Options of a JVM by the entries that a properties file has for them. The words are those that
/// were sorted, and have to outlive this.
struct SortedOptions {
  /// A size with a key of its own, as the last option for it says.
  struct Size {
    std::string_view prefix;  ///< "-Xmx"
    const char* key;
    const SourcedWord* option;
  };
  /// A system property with a value, as the last option for it says.
  struct Property {
    std::string name;
    const SourcedWord* option;
  };
  std::vector<Size> sizes;
  std::vector<Property> properties;        ///< in the order of their first options
  std::vector<const SourcedWord*> others;  ///< for the line of options
};

SortedOptions sorted(const std::vector<SourcedWord>& options);

#endif
