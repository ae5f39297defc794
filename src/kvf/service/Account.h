#ifndef VELOX_KVF_SERVICE_ACCOUNT_H
#define VELOX_KVF_SERVICE_ACCOUNT_H

#include <optional>
#include <string>

/// A user of this machine.
struct Account {
  std::string name, home, shell;
};

/// The user of that name or number; nothing: there is none.
std::optional<Account> accountOf(const std::string& user);

#endif
