#include "kvf/service/Account.h"

#include <algorithm>
#include <cstdlib>

#include <pwd.h>
#include <unistd.h>

namespace {

const passwd* entryOf(const std::string& user) {
  const passwd* entry = ::getpwnam(user.c_str());
  const bool isNumber = !user.empty() && std::all_of(user.begin(), user.end(),
                                                     [](char c) { return c >= '0' && c <= '9'; });
  if (entry == nullptr && isNumber)
    entry = ::getpwuid(static_cast<uid_t>(std::strtoul(user.c_str(), nullptr, 10)));
  return entry;
}

}  // namespace

std::optional<Account> accountOf(const std::string& user) {
  const passwd* entry = entryOf(user);
  if (entry == nullptr) return std::nullopt;
  return Account{entry->pw_name, entry->pw_dir, entry->pw_shell};
}

bool giveTo(const std::string& user, const std::filesystem::path& file) {
  const passwd* entry = entryOf(user);
  return entry != nullptr && ::geteuid() == 0 &&
         ::lchown(file.c_str(), entry->pw_uid, entry->pw_gid) == 0;
}
