#include "kvf/report/Fingerprints.h"

#include <cstdint>

#include "kvf/report/FindingFormats.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

/// FNV-1a.
std::string hexHash(std::string_view text) {
  std::uint64_t hash = 0xCBF29CE484222325;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
  std::string digits;
  for (int shift = 60; shift >= 0; shift -= 4)
    digits += "0123456789abcdef"[(hash >> static_cast<unsigned>(shift)) & 0xFU];
  return digits;
}

}  // namespace

std::string Fingerprints::next(const Finding& finding) {
  const std::string subject = concat({finding.rule->id, "\n", fileNameIn(finding, root_), "\n",
                                      keyAt(*finding.inspection, finding.at)});
  return concat({hexHash(subject), ":", std::to_string(++uses_[subject])});
}

std::string_view Fingerprints::keyAt(const Inspection& inspection, const Position& at) {
  if (inspection_ != &inspection) {
    inspection_ = &inspection;
    keys_.clear();
    for (const Entry& entry : inspection.run().entries)
      for (std::size_t line = entry.at.line; line <= entry.at.endLine; ++line)
        keys_[{entry.at.file, line}] = entry.key;
  }
  const auto found = keys_.find({at.file, at.line});
  return found == keys_.end() ? std::string_view() : found->second;
}
