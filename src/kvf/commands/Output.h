#ifndef VELOX_KVF_COMMANDS_OUTPUT_H
#define VELOX_KVF_COMMANDS_OUTPUT_H

#include <cstdio>
#include <nlohmann/json_fwd.hpp>
#include <string_view>

#include "kvf/process/Descriptor.h"
#include "kvf/process/FileError.h"

/// How every subcommand ends.
enum ExitStatus : int {
  success = 0,   ///< done, with a good answer
  negative = 1,  ///< done, with a bad one: something was found, nothing suits
  noAnswer = 2,  ///< no answer; standard error says why
};

/// Takes the places of standard streams that are closed, so that no file gets their numbers and
/// what is printed. To read or to write there fails as before.
void occupyClosedStandardStreams();

/// Prints on standard error, in one line, why there is no answer.
ExitStatus complain(std::string_view text);

/// Writes to standard output, or standard error; what cannot be written leaves no answer.
ExitStatus print(std::string_view text, std::FILE* stream = stdout);

/// Writes a document with its schema.
ExitStatus printJson(const nlohmann::ordered_json& document);

/// While it lives, what is written to standard output goes to standard error, also from programs
/// that are started. Throws FileError.
class StandardOutputAside {
 public:
  StandardOutputAside();
  StandardOutputAside(const StandardOutputAside&) = delete;
  StandardOutputAside& operator=(const StandardOutputAside&) = delete;
  ~StandardOutputAside();

 private:
  Descriptor own_;
};

/// True when standard error is a terminal, where a line can replace the one before.
bool showsProgressInPlace();

/// "always", "never" or "auto", the default.
void chooseColour(std::string_view when);

/// True for "always"; for "auto" when standard output is a terminal and NO_COLOR is not set.
bool wantsColour();

#endif
