#ifndef VELOX_KVF_EXPLAIN_EXPLANATIONJSON_H
#define VELOX_KVF_EXPLAIN_EXPLANATIONJSON_H

#include <nlohmann/json_fwd.hpp>

#include "kvf/explain/LaunchExplanation.h"

/// For a program; kvf(1) describes the members.
nlohmann::ordered_json asJson(const LaunchExplanation& launch);
nlohmann::ordered_json asJson(const KeyExplanation& explanation);

#endif
