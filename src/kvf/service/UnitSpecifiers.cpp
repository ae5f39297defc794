#include "kvf/service/UnitSpecifiers.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <system_error>

#include <grp.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "kvf/service/Account.h"
#include "kvf/service/EnvironmentFile.h"
#include "kvf/text/FileText.h"

namespace fs = std::filesystem;

namespace {

/// The byte of two hexadecimal digits.
std::optional<char> byteOf(std::string_view digits) {
  unsigned value = 0;
  const char* const end = digits.data() + digits.size();
  const auto [stop, error] = std::from_chars(digits.data(), end, value, 16);
  return error == std::errc() && stop == end ? std::optional(static_cast<char>(value))
                                             : std::nullopt;
}

/// "\x2d" and the like, and "-" for "/", in an instance's name.
std::string unescapedName(std::string_view name) {
  std::string text;
  for (std::size_t at = 0; at < name.size(); ++at) {
    const std::string_view rest = name.substr(at);
    const auto byte =
        rest.starts_with("\\x") && rest.size() >= 4 ? byteOf(rest.substr(2, 2)) : std::nullopt;
    if (byte) {
      text += *byte;
      at += 3;
    } else {
      text += rest[0] == '-' ? '/' : rest[0];
    }
  }
  return text;
}

std::string lastPart(const std::string& prefix) {
  const std::size_t dash = prefix.rfind('-');
  return dash == std::string::npos ? prefix : prefix.substr(dash + 1);
}

/// systemd's name for the processor.
std::string architectureOf(const std::string& machine) {
  struct Name {
    std::string_view machine, name;
  };
  constexpr Name names[] = {{"x86_64", "x86-64"}, {"aarch64", "arm64"}, {"i686", "x86"}};
  const auto* found = std::find_if(std::begin(names), std::end(names),
                                   [&](const Name& one) { return one.machine == machine; });
  return found == std::end(names) ? machine : std::string(found->name);
}

constexpr std::size_t idDigits = 32;

/// An ID of 128 bits as systemd writes it; nothing when the file has none.
std::optional<std::string> idIn(const char* file) {
  // The kernel's files have no size.
  std::ifstream stream(file);
  std::string text{std::istreambuf_iterator<char>(stream), {}};
  text.erase(std::remove_if(text.begin(), text.end(),
                            [](char c) { return c == '-' || c == '\n' || c == '\r'; }),
             text.end());
  return text.size() == idDigits ? std::optional(text) : std::nullopt;
}

/// The value of a variable in the first of the files that exists; empty if it is not in there.
std::optional<std::string> variableIn(std::initializer_list<const char*> files, const char* name) {
  for (const char* file : files) {
    if (!fs::is_regular_file(file)) continue;
    std::string value;
    for (const EnvironmentEntry& entry : parseEnvironmentFile(textOfFile(file)))
      if (entry.name == name) value = entry.value;
    return value;
  }
  return std::nullopt;
}

struct ReleaseLetter {
  char letter;
  const char* variable;
};

constexpr ReleaseLetter releaseLetters[] = {{'o', "ID"},         {'w', "VERSION_ID"},
                                            {'W', "VARIANT_ID"}, {'B', "BUILD_ID"},
                                            {'M', "IMAGE_ID"},   {'A', "IMAGE_VERSION"}};

void addMachine(UnitSpecifiers& specifiers) {
  utsname system = {};
  if (::uname(&system) != 0) return;
  const std::string host = system.nodename;
  const auto pretty = variableIn({"/etc/machine-info"}, "PRETTY_HOSTNAME");
  specifiers['H'] = host;
  specifiers['l'] = host.substr(0, host.find('.'));
  specifiers['q'] = pretty && !pretty->empty() ? *pretty : host;
  specifiers['v'] = system.release;
  specifiers['a'] = architectureOf(system.machine);
  specifiers['b'] = idIn("/proc/sys/kernel/random/boot_id");
  // An image has none yet; a machine started from it gets one.
  specifiers['m'] = idIn("/etc/machine-id").value_or(std::string(idDigits, '0'));
  for (const ReleaseLetter& release : releaseLetters)
    specifiers[release.letter] =
        variableIn({"/etc/os-release", "/usr/lib/os-release"}, release.variable);
}

std::string orElse(const char* variable, std::string fallback) {
  const char* value = std::getenv(variable);
  return value == nullptr || *value == '\0' ? std::move(fallback) : std::string(value);
}

void addFolders(bool isUser, const std::string& home, UnitSpecifiers& specifiers) {
  const std::string state = home + "/.local/state";
  specifiers['t'] = isUser ? orElse("XDG_RUNTIME_DIR", "/run") : "/run";
  specifiers['S'] = isUser ? orElse("XDG_STATE_HOME", state) : "/var/lib";
  specifiers['C'] = isUser ? orElse("XDG_CACHE_HOME", home + "/.cache") : "/var/cache";
  specifiers['L'] = isUser ? orElse("XDG_STATE_HOME", state) + "/log" : "/var/log";
  specifiers['E'] = isUser ? orElse("XDG_CONFIG_HOME", home + "/.config") : "/etc";
  specifiers['D'] = isUser ? orElse("XDG_DATA_HOME", home + "/.local/share") : "/usr/share";
  specifiers['T'] = "/tmp";
  specifiers['V'] = "/var/tmp";
}

void addManager(bool isUser, UnitSpecifiers& specifiers) {
  const uid_t uid = isUser ? ::geteuid() : 0;
  const std::optional<Account> manager = accountOf(std::to_string(uid));
  specifiers['h'] = manager ? manager->home : "/root";
  specifiers['s'] = manager ? manager->shell : "/bin/sh";
  specifiers['u'] = manager ? manager->name : "root";
  specifiers['U'] = std::to_string(uid);
  const group* managers = isUser ? ::getgrgid(::getegid()) : nullptr;
  specifiers['g'] = managers == nullptr ? "root" : managers->gr_name;
  specifiers['G'] = isUser ? std::to_string(::getegid()) : "0";
}

}  // namespace

UnitSpecifiers specifiersOf(const UnitName& name, const std::string& file) {
  const fs::path path = fs::absolute(file).lexically_normal();
  const std::string instance = unescapedName(name.instance);
  UnitSpecifiers specifiers = {
      {'n', name.whole},
      {'N', name.whole.substr(0, name.whole.size() - serviceSuffix.size())},
      {'p', name.prefix},
      {'P', unescapedName(name.prefix)},
      {'i', name.instance},
      {'I', instance},
      {'j', lastPart(name.prefix)},
      {'J', unescapedName(lastPart(name.prefix))},
      {'f', "/" + (name.hasAt ? instance : unescapedName(name.prefix))},
      {'y', path},
      {'Y', path.parent_path()},
  };
  const bool isUser = isUserUnit(file);
  addMachine(specifiers);
  addManager(isUser, specifiers);
  addFolders(isUser, *specifiers['h'], specifiers);
  specifiers['d'] = *specifiers['t'] + "/credentials/" + name.whole;
  return specifiers;
}
