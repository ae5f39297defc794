#ifndef VELOX_KVF_EXPLAIN_EXPLANATIONTEXT_H
#define VELOX_KVF_EXPLAIN_EXPLANATIONTEXT_H

#include <string>

#include "kvf/explain/LaunchExplanation.h"

/// For a person: nothing in it reaches a terminal as anything but text.
std::string asText(const LaunchExplanation& launch);

/// The same for a key, with what the launcher makes of one that it knows.
std::string asText(const KeyExplanation& explanation);

#endif
