#ifndef VELOX_KVF_IMPORT_STARTTARGET_H
#define VELOX_KVF_IMPORT_STARTTARGET_H

#include <string>
#include <vector>

#include "kvf/import/JavaCommandLine.h"
#include "kvf/import/JavaStart.h"

/// What java makes of the class, archive or module that its command line names.
struct StartTarget {
  std::string startClass;            ///< with dots
  std::string module;                ///< that holds it; empty: the class path does
  std::string comment;               ///< where it comes from, a sentence
  std::vector<SourcedWord> options;  ///< of the JVM, for what a manifest says
  std::vector<std::string> losses;   ///< what the launcher does not do, in sentences
};

/// Throws ImportError when the archive or module does not say what to start.
StartTarget startTargetOf(const JavaStart& start, const JavaCommandLine& line);

#endif
