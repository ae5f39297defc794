#ifndef VELOX_JAVARUN_JAVAPARAMETERPARSERUTIL_H
#define VELOX_JAVARUN_JAVAPARAMETERPARSERUTIL_H

#include <vector>

#include "javarun/JavaParameterParser.h"

namespace javaparser {

/// Where the option list of the JVM in this process differs from that of an external `java`.
struct RunOptionScope {
  /// The user's own system properties and extended options; an adjuster runs without them.
  bool withUserOptions = true;
  /// Passed on as wrapper.binary.path unless it is empty.
  WString serviceBinaryPath = {};
};

/// The complete JVM option list, in its fixed order. The system properties come first, in the
/// enumeration order of the set, which a copy of it may change. Nothing is de-duplicated.
std::vector<WString> getAllJavaRunOption(const JavaParameterParser& parser,
                                         const RunOptionScope& scope = {});

/// Appends copies of the elements to the list.
void appendElementToVector(std::vector<WString>& list, const std::vector<WString>& elements);

}  // namespace javaparser

#endif
