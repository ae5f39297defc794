#ifndef VELOX_KVF_CDS_CLASSDATAENTRY_H
#define VELOX_KVF_CDS_CLASSDATAENTRY_H

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/cds/ArchiveKind.h"

/// A properties file with the options that use a class-data archive.
struct ClassDataEntry {
  std::string line;  ///< the entry java.extended.properties as it stands there now
  std::string text;  ///< the whole file; nothing but that entry has changed
};

/// Adds options to the entry java.extended.properties of the file, in the place of those about
/// archives that it has; a file without the entry gets one. The archive is named by its file name
/// in the properties file's folder. `further` options are added where they are not there.
/// `inherited` is the value as a file would spell it that the file has without an entry of its own,
/// from an include or global.kvf.
ClassDataEntry withClassDataArchive(std::string_view text, const ArchiveKind& kind,
                                    std::string_view archiveName,
                                    const std::vector<std::string>& further,
                                    const std::optional<std::string>& inherited);

/// The file without options about archives in its own entries.
std::string withoutClassDataArchive(std::string_view text);

/// The file with the entry; where it has one its value is replaced, else it stands at the end.
std::string withEntry(std::string_view text, const char* key, std::string_view value);

#endif
