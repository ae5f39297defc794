#include <algorithm>
#include <filesystem>
#include <iterator>
#include <string_view>

#include "kvf/launch/Secrets.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

namespace fs = std::filesystem;

/// True when users who are neither the owner nor of its group can read the file.
bool isReadableByOthers(const std::string& name) {
  std::error_code error;
  fs::path path = fs::canonical(name, error);
  const auto allows = [&](fs::perms right) {
    const fs::perms rights = fs::status(path, error).permissions();
    return !error && (rights & right) != fs::perms::none;
  };
  if (error || !allows(fs::perms::others_read)) return false;
  while (path.has_relative_path()) {
    path = path.parent_path();
    if (!allows(fs::perms::others_exec)) return false;
  }
  return true;
}

/// True for a text that says where the secret is, or has it encrypted.
bool isElsewhere(std::string_view secret) {
  constexpr std::string_view places[] = {"classpath:", "classpath*:", "env:", "vault:"};
  const auto begins = [&](std::string_view start) { return secret.starts_with(start); };
  if (std::any_of(std::begin(places), std::end(places), begins)) return true;
  if (begins("ENC(") && secret.ends_with(')')) return true;
  // A URL may bring one along.
  return (begins("https://") || begins("http://")) &&
         secret.find_first_of("@?") == std::string_view::npos;
}

void readableSecret(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    const std::string_view secret = writtenSecret(entry);
    if (entry.skipped || secret.empty() || isElsewhere(secret)) continue;
    if (!isReadableByOthers(inspection.pathOf(entry.at))) continue;
    report(entry.at,
           concat({"everyone on this machine can read the secret in this line: make the file ",
                   "unreadable for others, with chmod o-r, or take it from a variable that the ",
                   "service manager sets"}));
  }
}

constexpr Rule rules[] = {
    {.id = "readable-secret",
     .severity = Severity::warning,
     .summary = "a password in a file that everyone can read",
     .explanation = "A name that ends in password, secret, token or the like marks a secret, also "
                    "in an option, an argument or a URL; a reference, a path, a URL or ENC(...) is "
                    "not one. The modes of the file and of the folders above it decide.",
     .example = {.note = "The file has mode 0644.", .lines = "java.property.db.password=Tr0ub4dor"},
     .remedy = {.note = "Take it from the environment; a unit reads it with EnvironmentFile=. Or "
                        "give the file mode 0640 and the group of the service.",
                .lines = "# kvf: allow unset-variable\njava.property.db.password=%DB_PASSWORD%"},
     .check = readableSecret},
};

}  // namespace

std::span<const Rule> secretRules() {
  return rules;
}
