#ifndef VELOX_KVF_REPORT_FINGERPRINTS_H
#define VELOX_KVF_REPORT_FINGERPRINTS_H

#include <cstddef>
#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "kvf/rules/Finding.h"

/// Tells the findings of one report apart in a way that outlives changes elsewhere in their files:
/// by the rule, the file and the key, and by their order where these are the same. No value goes
/// into it, which may be secret.
class Fingerprints {
 public:
  /// Names of files are relative to it.
  explicit Fingerprints(std::filesystem::path root) : root_(std::move(root)) {}

  /// Of the next finding of the report: hexadecimal digits, followed by a colon and a number where
  /// needed.
  std::string next(const Finding& finding);

 private:
  std::string_view keyAt(const Inspection& inspection, const Position& at);

  std::filesystem::path root_;
  std::map<std::string, int> uses_;
  const Inspection* inspection_ = nullptr;  ///< keys by their places, of this inspection
  std::map<std::pair<int, std::size_t>, std::string_view> keys_;
};

#endif
