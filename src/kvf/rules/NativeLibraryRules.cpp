#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <unistd.h>

#include "foundation/PropertyKeys.h"
#include "hosting/CppProcess.h"
#include "javarun/ClassPath.h"
#include "kvf/formats/ElfFile.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// Why the loader does not take a native library of that path; empty: it does.
std::string complaintAboutLibrary(const std::string& path, const std::optional<ElfFile>& elf) {
  if (::access(path.c_str(), F_OK) != 0) return "is not there";
  if (!elf) return "is not a shared library";
  return elf->sameArchitecture(ownElfFile()) ? "" : "is for another architecture";
}

/// The entry points that none of the libraries has; nothing when one of them is not known.
std::optional<std::set<std::string_view>> missingEntries(
    const std::vector<std::optional<ElfFile>>& libraries) {
  std::set<std::string_view> missing;
  for (const EntryPoint& entry : entryPoints) missing.insert(entry.symbol);
  bool areKnown = true;
  for (const std::optional<ElfFile>& library : libraries) {
    areKnown = areKnown && library && library->exports;
    if (!library) continue;
    std::erase_if(missing, [&](std::string_view entry) { return library->exportsName(entry); });
  }
  if (!areKnown && !missing.empty()) return std::nullopt;
  return missing;
}

void nativeLibrary(const Inspection& inspection, Report& report) {
  const std::string value = inspection.valueOf(keys::applicationLibrary);
  if (value.empty()) return;
  const Position at = inspection.positionOf(keys::applicationLibrary);
  std::vector<std::optional<ElfFile>> libraries;
  for (const WString& piece : CommonTool::splitEx(value.c_str(), ":")) {
    // The launcher loads no more than it needs.
    if (const auto missing = missingEntries(libraries); missing && missing->empty()) return;
    const std::string name = toString(piece);
    std::optional<ElfFile>& library = libraries.emplace_back();
    // A bare name is looked for by the loader.
    if (name.find('/') == std::string::npos) continue;
    const std::string path = inspection.atLauncher(name);
    library = readElfFile(path);
    const std::string complaint = complaintAboutLibrary(path, library);
    if (complaint.empty()) continue;
    report.fatal(at,
                 concat({shown(name), " ", complaint, ", and every command ends with status 255, ",
                         "--version too: name a library of this machine"}));
    return;
  }
  const auto missing = missingEntries(libraries);
  if (!missing || missing->empty()) return;
  std::string names;
  for (const std::string_view entry : *missing) {
    names += (names.empty() ? "" : ", ") + std::string(entry);
  }
  report.fatal(
      at, concat({"the libraries export no ", names, ", and every command ends with status 255: a ",
                  "native application has AppMain, AppStop and RegisterWrapperEntryPoints"}));
}

constexpr Rule rules[] = {
    {.id = "native-library",
     .severity = Severity::error,
     .summary = "a native library that is missing or lacks its entry points",
     .explanation = "The libraries of application.library together export AppMain, AppStop and "
                    "RegisterWrapperEntryPoints. Every command loads them.",
     .example = {.lines = "application.library=%kvf.file.dir%/libgone.so", .whole = true},
     .remedy = {.lines = "application.library=%kvf.file.dir%/libacme.so", .whole = true},
     .check = nativeLibrary},
};

}  // namespace

std::span<const Rule> nativeLibraryRules() {
  return rules;
}
