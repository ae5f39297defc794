#ifndef VELOX_KVF_CDS_CLASSDATAENTRY_H
#define VELOX_KVF_CDS_CLASSDATAENTRY_H

#include <optional>
#include <string>
#include <string_view>

/// A properties file with the options that use a class-data archive.
struct ClassDataEntry {
  std::string line;  ///< the entry java.extended.properties as it stands there now
  std::string text;  ///< the whole file; nothing but that entry has changed
};

/// Adds the options to the entry java.extended.properties of the file, in the place of such options
/// that it has; a file without the entry gets one. The archive is named by its file name in the
/// properties file's folder. `inherited` is the value as a file would spell it that the file has
/// without an entry of its own, from an include or global.kvf.
ClassDataEntry withClassDataArchive(std::string_view text, std::string_view archiveName,
                                    const std::optional<std::string>& inherited);

#endif
