#ifndef VELOX_KVF_REPORT_RULETEXT_H
#define VELOX_KVF_REPORT_RULETEXT_H

#include <string>

#include "kvf/rules/Rule.h"

/// What a reader needs to try an example: its words, the lines and the command, if it is an unusual
/// one. Fit for a terminal, each line with an end.
std::string exampleText(const Example& example);

#endif
