#ifndef VELOX_KVF_PACKAGE_STARTCLASSGUESS_H
#define VELOX_KVF_PACKAGE_STARTCLASSGUESS_H

#include <filesystem>
#include <string>
#include <vector>

/// The classes of an archive that java could start: with a public static main(String[]) of their
/// own, and not within another class. With dots, in the order of their names.
std::vector<std::string> classesWithMain(const std::filesystem::path& archive);

#endif
