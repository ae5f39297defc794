#include "kvf/launch/Secrets.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "kvf/text/Text.h"

namespace {

constexpr std::string_view mark = "***";
/// A shorter one appears in many texts by chance.
constexpr std::size_t shortestHidden = 6;

/// REQUIRES: the end is in small letters.
bool endsWith(std::string_view text, std::string_view end) {
  return text.size() >= end.size() &&
         std::equal(end.rbegin(), end.rend(), text.rbegin(), [](char small, char c) {
           return small == std::tolower(static_cast<unsigned char>(c));
         });
}

bool isNameCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '.' || c == '-';
}

/// Not the place of a secret, a switch or a number.
bool isSecretValue(std::string_view value) {
  const bool isNumber = value.find_first_not_of("0123456789") == std::string_view::npos;
  constexpr std::string_view harmless[] = {"true", "false", "none", "null", "changeit"};
  if (isNumber || value.starts_with('/') || value.starts_with("file:")) return false;
  if (value.find_first_of("%$") != std::string_view::npos && value.find('{') != std::string::npos) {
    return false;
  }
  return std::find(std::begin(harmless), std::end(harmless), value) == std::end(harmless);
}

bool isLetterOrDigit(std::string_view text, std::size_t at) {
  return at < text.size() && std::isalnum(static_cast<unsigned char>(text[at])) != 0;
}

}  // namespace

SecretStretch nextSecret(std::string_view text, std::size_t from) {
  std::size_t end = from;
  for (std::size_t sign = from; (sign = text.find_first_of("= ", sign)) != std::string_view::npos;
       ++sign) {
    std::size_t start = sign;
    while (start > from && isNameCharacter(text[start - 1])) --start;
    const std::string_view name = text.substr(start, sign - start);
    const std::size_t at = sign + 1;
    const bool takesNext = name.starts_with("--") && !text.substr(at).starts_with('-');
    if ((text[sign] == ' ' && !takesNext) || !isSecretName(name)) continue;
    // One may end several.
    if (end < at) end = std::min(text.find_first_of(" \t&;\"',", at), text.size());
    if (end > at && isSecretValue(text.substr(at, end - at))) return {at, end - at};
  }
  return {};
}

bool isSecretName(std::string_view name) {
  constexpr std::string_view ends[] = {"password",   "passwd",      "passphrase",  "secret",
                                       "token",      "apikey",      "api.key",     "api_key",
                                       "api-key",    "secretkey",   "secret.key",  "secret_key",
                                       "secret-key", "private.key", "private_key", "credentials"};
  // The password of a trust store protects nothing.
  return std::any_of(std::begin(ends), std::end(ends),
                     [&](std::string_view end) { return endsWith(name, end); }) &&
         !endsWith(name, "truststorepassword");
}

std::string_view writtenSecret(const Entry& entry) {
  const std::string_view value = entry.written;
  if (entry.isInclude || value.empty()) return {};
  const auto isReference = [&](std::string_view text) {
    return text.size() > 2 && text.front() == '%' && text.back() == '%';
  };
  if (isSecretName(entry.key)) {
    return isSecretValue(value) && !isReference(value) ? value : std::string_view();
  }
  for (SecretStretch found = nextSecret(value, 0); found.size > 0;
       found = nextSecret(value, found.at + found.size)) {
    const std::string_view secret = value.substr(found.at, found.size);
    if (!isReference(secret)) return secret;
  }
  return {};
}

Secrets::Secrets(const Inspection& inspection) {
  const auto add = [&](std::string_view value) {
    if (value.size() < shortestHidden || !isSecretValue(value)) return;
    values_.emplace(value);
    lengths_.insert(value.size());
  };
  for (const AssemblyRun* run : {&inspection.outer, &inspection.run()}) {
    for (const Entry& entry : run->entries) {
      if (isSecretName(entry.key)) add(entry.value);
      add(writtenSecret(entry));
      for (const Reference& reference : entry.references) {
        if (isSecretName(reference.name)) add(reference.replacement);
      }
    }
  }
}

std::size_t Secrets::valueAt(std::string_view text, std::size_t at) const {
  if (at > 0 && isLetterOrDigit(text, at - 1)) return 0;
  const auto found =
      std::find_if(lengths_.lower_bound(text.size() - at), lengths_.end(), [&](std::size_t length) {
        return !isLetterOrDigit(text, at + length) && values_.contains(text.substr(at, length));
      });
  return found == lengths_.end() ? 0 : *found;
}

std::string Secrets::withoutValues(std::string text) const {
  if (values_.empty()) return text;
  std::string result;
  for (std::size_t at = 0; at < text.size();) {
    const std::size_t length = valueAt(text, at);
    result += length > 0 ? mark : std::string_view(text).substr(at, 1);
    at += std::max<std::size_t>(length, 1);
  }
  return result;
}

std::string Secrets::masked(std::string_view text) const {
  std::string result;
  std::size_t done = 0;
  for (SecretStretch found = nextSecret(text, 0); found.size > 0; found = nextSecret(text, done)) {
    result += text.substr(done, found.at - done);
    result += mark;
    done = found.at + found.size;
  }
  result += text.substr(done);
  return withoutValues(std::move(result));
}

void Secrets::mask(AssemblyRun& run) const {
  const auto maskOf = [&](std::string_view name, std::string& value) {
    value = isSecretName(name) && isSecretValue(value) ? std::string(mark) : masked(value);
  };
  for (Entry& entry : run.entries) {
    maskOf(entry.key, entry.written);
    maskOf(entry.key, entry.value);
    for (Reference& reference : entry.references) {
      maskOf(reference.name, reference.replacement);
    }
  }
  SimpleProperties hidden;
  run.merged.forEach([&](const WString& key, const WString& value) {
    std::string text = toString(value);
    maskOf(key.view(), text);
    hidden.set(key, WString(text));
  });
  run.merged = hidden;
}

void Secrets::mask(Inspection& inspection) const {
  mask(inspection.outer);
  if (inspection.inner) mask(*inspection.inner);
  for (auto& [name, value] : inspection.plan.exported) {
    value = isSecretName(name) && isSecretValue(value) ? std::string(mark) : masked(value);
  }
  for (std::string& option : inspection.plan.options) option = masked(option);
  bool isSecret = false;
  for (std::string& argument : inspection.plan.arguments) {
    const bool isName = argument.starts_with("--") && isSecretName(argument);
    argument = isSecret && isSecretValue(argument) ? std::string(mark) : masked(argument);
    isSecret = isName;
  }
}
