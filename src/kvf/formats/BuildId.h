#ifndef VELOX_KVF_FORMATS_BUILDID_H
#define VELOX_KVF_FORMATS_BUILDID_H

#include <filesystem>
#include <string>

/// The build ID that the linker gave to a program or library, in hexadecimal digits; empty when the
/// file has none. Reads a few hundred bytes of the file; throws FileError when it cannot.
std::string buildIdOf(const std::filesystem::path& path);

#endif
