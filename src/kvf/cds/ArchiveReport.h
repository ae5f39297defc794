#ifndef VELOX_KVF_CDS_ARCHIVEREPORT_H
#define VELOX_KVF_CDS_ARCHIVEREPORT_H

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "kvf/cds/StartMeasurement.h"

/// What was tried for an application, how its starts compare, and what came of it.
struct ArchiveReport {
  std::string file, javaVersion, javaLibrary;
  struct Kind {
    std::string name;
    std::string failure;  ///< why it was not made; empty: it was
  };
  std::vector<Kind> kinds;
  std::vector<StartVariant> variants;
  std::vector<StartTimes> times;  ///< of each variant; empty: not measured
  struct Choice {
    std::string kind, archive;
    std::uintmax_t bytes = 0;
    std::vector<std::string> options;  ///< of the JVM, besides those that use the archive
  };
  std::optional<Choice> chosen;
  std::string why;        ///< it was chosen, or nothing was
  std::string line;       ///< for the properties file; empty: none
  bool written = false;   ///< the line is in the file
  std::string unwritten;  ///< why it is not; empty: it is
};

/// As a document, without its schema.
nlohmann::ordered_json asJson(const ArchiveReport& report);

#endif
