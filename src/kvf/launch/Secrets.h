#ifndef VELOX_KVF_LAUNCH_SECRETS_H
#define VELOX_KVF_LAUNCH_SECRETS_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <string_view>

#include "kvf/launch/Inspection.h"

/// True for the name of a password, token or key: one that ends so, as db.password or API_TOKEN.
bool isSecretName(std::string_view name);

/// A part of a text.
struct SecretStretch {
  std::size_t at = 0;
  std::size_t size = 0;  ///< 0: there is none
};

/// The value of the next "name=value" or "--name value" of a secret in a text, as an option, an
/// argument or a part of a URL has it.
SecretStretch nextSecret(std::string_view text, std::size_t from);

/// The secrets of a launch: the values of such names, in its files and in variables they refer to.
class Secrets {
 public:
  explicit Secrets(const Inspection& inspection);

  /// The text with *** for every secret in it.
  [[nodiscard]] std::string masked(std::string_view text) const;
  /// Masks everything that a reader may be shown of the inspection.
  void mask(Inspection& inspection) const;

 private:
  void mask(AssemblyRun& run) const;

  /// The length of the secret at that place; 0: none.
  [[nodiscard]] std::size_t valueAt(std::string_view text, std::size_t at) const;
  [[nodiscard]] std::string withoutValues(std::string text) const;

  std::set<std::string, std::less<>> values_;
  std::set<std::size_t, std::greater<>> lengths_;  ///< of the values; the longest first
};

/// The secret that an entry itself holds, also in an option or an argument; empty: none. One that
/// it refers to by a variable is elsewhere.
std::string_view writtenSecret(const Entry& entry);

#endif
