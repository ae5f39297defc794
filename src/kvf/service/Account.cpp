#include "kvf/service/Account.h"

#include <charconv>
#include <system_error>

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

namespace {

/// Nothing for a name.
std::optional<unsigned> numberIn(const std::string& text) {
  unsigned number = 0;
  const char* const end = text.data() + text.size();
  const auto [stop, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

const passwd* entryOf(const std::string& user) {
  const passwd* entry = ::getpwnam(user.c_str());
  const std::optional<unsigned> number = numberIn(user);
  return entry == nullptr && number ? ::getpwuid(*number) : entry;
}

}  // namespace

std::optional<Account> accountOf(const std::string& user) {
  const passwd* entry = entryOf(user);
  if (entry == nullptr) return std::nullopt;
  return Account{entry->pw_name, entry->pw_dir, entry->pw_shell, entry->pw_uid, entry->pw_gid};
}

std::vector<unsigned> groupsOf(const Account& account) {
  constexpr int mostGroups = 65536;  // of Linux
  std::vector<gid_t> groups;
  for (int count = 64; count <= mostGroups; count *= 2) {
    groups.resize(static_cast<std::size_t>(count));
    int found = count;
    if (::getgrouplist(account.name.c_str(), account.group, groups.data(), &found) < 0) continue;
    groups.resize(static_cast<std::size_t>(found));
    break;
  }
  return {groups.begin(), groups.end()};
}

std::optional<unsigned> groupOf(const std::string& group) {
  const struct group* entry = ::getgrnam(group.c_str());
  return entry == nullptr ? numberIn(group) : std::optional(entry->gr_gid);
}

bool giveTo(const std::string& user, const std::filesystem::path& file) {
  const passwd* entry = entryOf(user);
  return entry != nullptr && ::geteuid() == 0 &&
         ::lchown(file.c_str(), entry->pw_uid, entry->pw_gid) == 0;
}
