#ifndef VELOX_KVF_CDS_STARTMEASUREMENT_H
#define VELOX_KVF_CDS_STARTMEASUREMENT_H

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kvf/process/ProgramRun.h"

/// One way to start the application.
struct StartVariant {
  std::string name;
  ProgramRun run;
  std::uintmax_t archiveBytes = 0;  ///< 0: no archive of its own
};

/// The median of some numbers, and their quartiles.
struct Quartiles {
  double low = 0, median = 0, high = 0;
};
/// REQUIRES: there are numbers.
Quartiles quartilesOf(std::vector<double> numbers);

/// Why a start was none that can be compared with others, which ended with the status; empty: it
/// was one.
std::string failureOf(const ProgramRun& run, const ProgramEnd& end, int status);

/// How long the starts of a variant took.
struct StartTimes {
  Quartiles seconds = {};
  Quartiles ratio = {};  ///< of each pair's times, to the first variant
  double processorSeconds = 0;
  std::string failure = {};  ///< why it was not measured further; else empty

  /// True when it is sooner than the first variant by more than the pairs differ.
  [[nodiscard]] bool gains() const;
};

/// Starts each variant once for each pair, in turn and in changing order, so that a slow machine
/// slows all of them; before that once to warm the caches. `progress` is called before each round.
std::vector<StartTimes> measureStarts(const std::vector<StartVariant>& variants, unsigned pairs,
                                      const std::function<void(unsigned)>& progress);

/// The times as a table with a line for each variant.
std::string tableOf(const std::vector<StartVariant>& variants,
                    const std::vector<StartTimes>& times);

#endif
