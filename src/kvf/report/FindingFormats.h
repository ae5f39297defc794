#ifndef VELOX_KVF_REPORT_FINDINGFORMATS_H
#define VELOX_KVF_REPORT_FINDINGFORMATS_H

#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "kvf/rules/Finding.h"

struct ReportOptions {
  /// Files below this absolute folder are named relative to it; empty: as the user named them or,
  /// in formats that need relative names, relative to the working directory.
  std::filesystem::path root;
  bool colour = false;
};

/// A format of findings.
struct FindingFormat {
  const char* name;
  const char* summary;
  std::string (*text)(std::span<const Finding> findings, const ReportOptions& options);
};

/// Every format; kvf(1) describes them.
std::span<const FindingFormat> findingFormats();

/// The format of that name, or null.
const FindingFormat* findFindingFormat(std::string_view name);

/// The file of a finding relative to the root; nothing when it is not a file below that.
std::optional<std::string> nameBelow(const std::filesystem::path& root, const Finding& finding);

/// The same; else as the user named it.
std::string fileNameIn(const Finding& finding, const std::filesystem::path& root);

// Each in a file of its own, such as SarifReport.cpp.
std::string textReport(std::span<const Finding> findings, const ReportOptions& options);
std::string gccReport(std::span<const Finding> findings, const ReportOptions& options);
std::string jsonReport(std::span<const Finding> findings, const ReportOptions& options);
std::string sarifReport(std::span<const Finding> findings, const ReportOptions& options);
std::string githubReport(std::span<const Finding> findings, const ReportOptions& options);
std::string gitlabReport(std::span<const Finding> findings, const ReportOptions& options);
std::string checkstyleReport(std::span<const Finding> findings, const ReportOptions& options);

#endif
