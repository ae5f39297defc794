#ifndef VELOX_KVF_FORMATS_CLASSNAMES_H
#define VELOX_KVF_FORMATS_CLASSNAMES_H

#include <filesystem>
#include <functional>
#include <string_view>

/// Calls visit with the name of every class of a folder or an archive, with slashes and without
/// ".class", until it returns false or too many files of a folder were seen for a folder of
/// classes. Nested classes are left out.
void forEachClass(const std::filesystem::path& place, bool isFolder,
                  const std::function<bool(std::string_view)>& visit);

#endif
