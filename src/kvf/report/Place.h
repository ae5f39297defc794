#ifndef VELOX_KVF_REPORT_PLACE_H
#define VELOX_KVF_REPORT_PLACE_H

#include <cstddef>

#include "kvf/launch/Inspection.h"

/// Where something is in a file, as readers and other programs count: lines and columns from 1,
/// columns in characters (Unicode code points; a tab is one, a byte that is not UTF-8 is one), the
/// end after the last of them.
struct Place {
  std::size_t line = 1;    ///< of the command line: the number of the argument
  std::size_t column = 0;  ///< 0: the argument, or the file, as a whole
  std::size_t endLine = 0;
  std::size_t endColumn = 0;

  [[nodiscard]] bool hasColumns() const { return column != 0; }
};

/// Finds the places of one report. It counts on from the place before, so that many findings in a
/// long line, or at one place in it, take no more than one look at it.
class Places {
 public:
  /// The place of a position in the files of the inspection. REQUIRES: they outlive this.
  Place of(const Inspection& inspection, const Position& at);

 private:
  // Of the one before; without a file there was none.
  const SourceFile* file_ = nullptr;
  Position at_;
  Place place_;
};

#endif
