#ifndef VELOX_KVF_SERVICE_ACCOUNT_H
#define VELOX_KVF_SERVICE_ACCOUNT_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

/// A user of this machine.
struct Account {
  std::string name, home, shell;
  unsigned user = 0, group = 0;  ///< their numbers
};

/// The user of that name or number; nothing: there is none.
std::optional<Account> accountOf(const std::string& user);

/// The numbers of all groups of a user.
std::vector<unsigned> groupsOf(const Account& account);
/// The number of the group of that name or number; nothing: there is none of that name.
std::optional<unsigned> groupOf(const std::string& group);

/// Gives a file to a user, by name or number, and to the user's group. False: there is no such
/// user, or this process has no right to.
bool giveTo(const std::string& user, const std::filesystem::path& file);

#endif
