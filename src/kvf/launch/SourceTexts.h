#ifndef VELOX_KVF_LAUNCH_SOURCETEXTS_H
#define VELOX_KVF_LAUNCH_SOURCETEXTS_H

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include "config/PropertiesText.h"

/// Texts in place of those of files, by file name, such as unsaved ones of an editor.
using GivenTexts = std::map<std::string, std::string>;

/// A file that has no end, such as a pipe that stays open. The text is a sentence for the user.
struct EndlessSource : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// The properties files of one inspection. Each is read once, by the launcher's own code; later
/// changes of it have no effect.
class SourceTexts {
 public:
  struct Source {
    PropertiesText content;
    /// Device and number of a regular file.
    std::optional<std::pair<std::uint64_t, std::uint64_t>> identity;

    [[nodiscard]] bool isSameFileAs(const Source& other) const {
      return this == &other || (identity && identity == other.identity);
    }
  };

  SourceTexts() = default;
  explicit SourceTexts(const GivenTexts& given);

  /// The file of this name, seen from the working directory of the first call. Valid as long as
  /// this object. Throws EndlessSource for one that never ends: an open pipe from the user is
  /// waited for like a terminal, anything else for two seconds.
  const Source& read(const std::string& name);

 private:
  std::map<std::string, Source> given_;  ///< by absolute path
  std::map<std::string, Source> sources_;
};

#endif
