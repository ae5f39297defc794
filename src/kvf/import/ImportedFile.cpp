#include "kvf/import/ImportedFile.h"

#include <optional>
#include <string_view>
#include <utility>

#include "config/PropertiesScanner.h"
#include "config/VariableSubstitution.h"
#include "foundation/PropertyKeys.h"
#include "kvf/import/ImportError.h"
#include "kvf/import/SortedOptions.h"
#include "kvf/import/StartTarget.h"
#include "kvf/launch/Secrets.h"
#include "kvf/rules/ValueSigns.h"
#include "kvf/service/EnvironmentFile.h"
#include "kvf/text/PropertiesSpelling.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::size_t longestLine = 100;

/// An option without its value, which may be long or a secret.
std::string nameOf(const std::string& option) {
  return printable(option.substr(0, option.find('=')));
}

class Writer {
 public:
  Writer(const JavaStart& start, const JavaCommandLine& line, const ImportRequest& request)
      : start_(start), line_(line), request_(request) {}

  ImportedFile write() {
    result_.losses = start_.losses;
    result_.losses.insert(result_.losses.end(), line_.losses.begin(), line_.losses.end());
    writeJvm();
    writeStart();
    writeClassPath();
    writeOptions();
    writeArguments();
    section("The directory of the application.");
    entry(keys::startDirectory, start_.directory);
    writeEnvironment();
    writeRest();

    std::string head = concat({"# Imported from ", printable(start_.origin),
                               ". `kvf check` finds mistakes, `kvf explain` shows what a start "
                               "uses.\n"});
    if (!result_.secrets.empty()) {
      head += concat({"\n# Passwords and the like.\n", keys::includePrefix,
                      ".secrets=", request_.secretsInclude, "\n"});
      result_.secrets = concat({"# Included by the file that uses them.\n", result_.secrets});
    }
    result_.text = head + text_;
    return std::move(result_);
  }

 private:
  void comment(std::string_view text) {
    // A backslash at its end would continue it on the next line.
    text_ += concat({"# ", text, text.ends_with('\\') ? " .\n" : "\n"});
  }
  void section(std::string_view text) {
    text_ += '\n';
    comment(text);
  }

  /// The same for what is written next, if that is anything.
  template <class Write>
  void section(std::string_view text, Write&& write) {
    const std::size_t before = text_.size();
    section(text);
    const std::size_t head = text_.size();
    write();
    if (text_.size() == head) text_.resize(before);
  }

  /// An entry with the value as it is meant; reports one that cannot be spelled.
  void entry(std::string_view key, const std::string& value) {
    if (isLost(key, value)) return;
    emit(text_, key, spelledPart(value));
  }
  /// An entry with a value that is already spelled, except at its start.
  static void emit(std::string& text, std::string_view key, const std::string& spelled) {
    const char* const start = spelled.starts_with('=') ? "=" : spelled.starts_with(' ') ? "\\" : "";
    std::string line = concat({key, "=", start, spelled, "\n"});
    // A blank at the end counts anyway, but nobody sees it.
    if (spelled.size() > 1 && spelled.ends_with(' ')) line.insert(line.size() - 2, "\\");
    text += concat({permission(spelled, line), line});
  }
  /// The comment for what looks like a mistake, and came from where it was none.
  static std::string permission(const std::string& spelled, const std::string& line) {
    // A literal backslash is followed by a second one.
    bool hasControl = false;
    for (std::size_t at = 0; (at = spelled.find('\\', at)) != std::string::npos; at += 2) {
      const char next = at + 1 < spelled.size() ? spelled[at + 1] : '\0';
      hasControl = hasControl || next == 't' || next == 'r' || next == 'n';
    }
    PropertiesEntry entry;
    PropertiesScanner(line).next(entry);
    constexpr std::string_view exported = keys::environmentPrefix;
    const std::string_view name = entry.key.view();
    const bool isOddName =
        name.starts_with(exported) && !isVariableName(name.substr(exported.size()));
    const std::string rules = concat(
        {isOddName ? " environment-name" : "", hasControl ? " control-escape" : "",
         hasOddQuotes(entry.key.view(), entry.value.view()) ? " quoted-value" : "",
         oddCommentIn(entry.key.view(), entry.value.view()).empty() ? "" : " trailing-comment"});
    return rules.empty() ? rules : concat({"# kvf: allow", rules, "\n"});
  }
  bool isLost(std::string_view what, const std::string& value) {
    if (!cannotBeValue(value)) return false;
    result_.losses.push_back(
        concat({printable(what), ": no value can hold both a percent sign and @@#@@"}));
    return true;
  }

  /// An entry whose value is a secret: where it belongs, and its text.
  void writeSecretEntry(const std::string& key, const std::string& spelled) {
    result_.holdsSecrets = result_.holdsSecrets || request_.secretsInclude.empty();
    emit(request_.secretsInclude.empty() ? text_ : result_.secrets, key, spelled);
  }

  /// The word, already spelled for its list, with references in place of the secrets.
  std::string withoutSecrets(const std::string& word, bool isWhole) {
    std::string text;
    std::size_t at = 0;
    const auto replace = [&](std::size_t from, std::size_t size) {
      text += spelledPart(word.substr(at, from - at));
      const std::string secret = word.substr(from, size);
      at = from + size;
      const bool cannotMove = word.find(percentMarker) != std::string::npos;
      if (cannotMove && !request_.secretsInclude.empty())
        result_.losses.emplace_back("a secret with @@#@@ in it is not moved to a file of its own");
      if (request_.secretsInclude.empty() || cannotMove) {
        result_.holdsSecrets = true;
        text += spelledPart(secret);
        return;
      }
      const std::string name = concat({"secret.", std::to_string(++secretNumber_)});
      writeSecretEntry(name, spelledPart(secret));
      text += concat({"%", name, "%"});
    };
    if (isWhole) {
      const bool isQuoted = word.size() > 1 && word.starts_with('"') && word.ends_with('"');
      replace(isQuoted ? 1 : 0, word.size() - (isQuoted ? 2 : 0));
    } else {
      for (SecretStretch found = nextSecret(word, 0); found.size > 0; found = nextSecret(word, at))
        replace(found.at, found.size);
    }
    return text + spelledPart(std::string_view(word).substr(at));
  }
  void writeJvm();
  void writeStart();
  void writeClassPath();
  void writeOptions();
  void writeProperties(const SortedOptions& options);
  void writeOptionLine(const std::vector<const SourcedWord*>& options);
  void writeArguments();
  void writeEnvironment();
  void writeRest();

  const JavaStart& start_;
  const JavaCommandLine& line_;
  const ImportRequest& request_;
  ImportedFile result_;
  std::string text_;
  std::vector<SourcedWord> manifestOptions_;
  std::size_t secretNumber_ = 0;
};

void Writer::writeJvm() {
  if (!start_.jvm) throw ImportError(concat({"there is no JVM around ", shown(start_.program)}));
  const Jvm& jvm = *start_.jvm;
  section(concat({"The JVM of ", printable(start_.program),
                  jvm.version.empty() ? "" : ", which is Java ", printable(jvm.version), "."}));
  entry(keys::javaLibrary, line_.library.empty() ? jvm.library.native() : line_.library);
  if (!jvm.java.empty()) entry(keys::javaPath, jvm.java);
}

void Writer::writeStart() {
  const StartTarget target = startTargetOf(start_, line_);
  result_.losses.insert(result_.losses.end(), target.losses.begin(), target.losses.end());
  manifestOptions_ = target.options;
  section(target.comment);
  entry(keys::startClass, target.startClass);
  const auto property = [&](std::string_view name, const std::string& value) {
    entry(concat({keys::javaPropertyPrefix, name}), value);
  };
  if (!target.module.empty()) {
    property("jdk.module.main", target.module);
    property("jdk.module.main.class", target.startClass);
  }
  comment("What jps shows.");
  property("sun.java.command", line_.what.text);
}

void Writer::writeClassPath() {
  const bool isModule = line_.kind == JavaCommandLine::Kind::module;
  const std::string path = line_.classPath ? line_.classPath->text : isModule ? "" : ".";
  section(line_.classPath ? concat({"The class path (", line_.classPath->from, ")."})
          : isModule      ? "No class path, as for java with -m."
                          : "No class path is given: java takes the directory.");
  if (path.empty()) comment("kvf: allow empty-value");
  if (isLost(keys::classPath, path)) return;
  std::string spelled;
  const bool inLines = path.size() > longestLine;
  for (std::size_t at = 0; at <= path.size();) {
    const std::size_t end = inLines ? path.find(':', at) : std::string::npos;
    const std::string element = path.substr(at, end == std::string::npos ? end : end + 1 - at);
    spelled += spelledPart(element);
    if (end == std::string::npos) break;
    spelled += "\\\n";
    at = end + 1;
  }
  emit(text_, keys::classPath, spelled);
}

void Writer::writeOptions() {
  std::vector<SourcedWord> options = manifestOptions_;
  options.insert(options.end(), line_.options.begin(), line_.options.end());
  const SortedOptions lists = sorted(options);
  if (!lists.sizes.empty()) text_ += '\n';
  for (const SortedOptions::Size& size : lists.sizes) {
    comment(concat({size.prefix, " (", size.option->from, ")"}));
    entry(size.key, size.option->text.substr(size.prefix.size()));
  }
  section("System properties.", [&] { writeProperties(lists); });
  writeOptionLine(lists.others);
}

void Writer::writeProperties(const SortedOptions& options) {
  std::string from;
  for (const auto& [name, word] : options.properties) {
    const SourcedWord& option = *word;
    const std::string key = concat({keys::javaPropertyPrefix, spelledKey(name)});
    const std::string value = option.text.substr(name.size() + 3);
    if (isLost(key, value)) continue;
    const bool isSecret = isSecretName(name) && !value.empty();
    if (isSecret && !request_.secretsInclude.empty()) {
      writeSecretEntry(key, spelledPart(value));
      continue;
    }
    if (std::exchange(from, option.from) != option.from) comment(option.from);
    emit(text_, key, isSecret ? spelledPart(value) : withoutSecrets(value, false));
    result_.holdsSecrets = result_.holdsSecrets || isSecret;
  }
}

void Writer::writeOptionLine(const std::vector<const SourcedWord*>& options) {
  std::string line;
  std::string comments;
  for (const SourcedWord* option : options) {
    const std::optional<std::string> word = optionWord(option->text);
    if (!word || word->find(percentMarker) != std::string::npos) {
      result_.losses.push_back(concat({nameOf(option->text), " (", option->from,
                                       "): the line of options cannot hold a double quote or "
                                       "@@#@@"}));
      continue;
    }
    comments += concat({"#   ", nameOf(option->text), " (", option->from, ")\n"});
    const std::string spelled = withoutSecrets(*word, false);
    line += line.empty() ? spelled : " " + spelled;
  }
  const std::string& variable = request_.optionsVariable;
  if (line.empty() && variable.empty()) return;
  section(variable.empty()
              ? "Options of the JVM, with one blank between them:"
              : "Options of the JVM, with one blank between them, and those from the environment:");
  text_ += comments;
  if (!variable.empty()) {
    text_ += concat({variable, "=\n"});
    line += concat({line.empty() ? "" : " ", "%", variable, "%"});
  }
  emit(text_, keys::extendedProperties, line);
}

void Writer::writeArguments() {
  const std::vector<SourcedWord>& arguments = line_.arguments;
  const bool takesMore = !request_.argumentsVariable.empty();
  if (arguments.empty() && !takesMore) return;
  const std::string first = arguments.empty() ? "" : arguments.front().from;
  const std::string last = arguments.empty() ? "" : arguments.back().from;
  section(concat({"The arguments of the application", first.empty() ? "" : " (", first,
                  first == last ? "" : " to ", first == last ? "" : last, first.empty() ? "" : ")",
                  "; those of the command line follow."}));
  std::string value;
  std::size_t number = 0;
  bool isSecret = false;
  for (; number < arguments.size(); ++number) {
    const std::string& argument = arguments[number].text;
    const std::optional<std::string> word = argumentWord(argument);
    if (!word || word->find(percentMarker) != std::string::npos) break;
    value += (value.empty() ? "" : " ") + withoutSecrets(*word, isSecret);
    isSecret = argument.starts_with('-') && isSecretName(argument);
  }
  if (takesMore) {
    text_ += concat({request_.argumentsVariable, "=\n"});
    value += concat({value.empty() ? "" : " ", "%", request_.argumentsVariable, "%"});
  }
  if (!value.empty()) emit(text_, keys::applicationArgs, value);
  if (takesMore) text_ += laterArguments(request_.argumentsVariable);
  if (number == arguments.size()) return;

  // These are taken as they are, one by one.
  comment("A double quote needs an entry for each argument from there on.");
  comment(takesMore ? "Arguments of the start script come before these; from its first one with a "
                      "double quote on they take the place of these."
                    : "Arguments of the command line replace these.");
  for (std::size_t own = 1; number < arguments.size(); ++number, ++own) {
    const std::string& argument = arguments[number].text;
    const std::string key = concat({keys::commandLineArgumentPrefix, std::to_string(own)});
    if (isLost(concat({"argument ", std::to_string(number + 1)}), argument)) break;
    emit(text_, key, argument.empty() ? "" : withoutSecrets(argument, isSecret));
    isSecret = argument.starts_with('-') && isSecretName(argument);
  }
}

void Writer::writeEnvironment() {
  section("The environment.", [&] {
    for (const auto& [name, value] : start_.variables) {
      const std::string key = concat({keys::environmentPrefix, spelledKey(name)});
      if (isLost(name, value)) continue;
      const bool isSecret = isSecretName(name) && !value.empty();
      if (isSecret) {
        writeSecretEntry(key, spelledPart(escapedPercents(value)));
      } else {
        emit(text_, key, spelledPart(escapedPercents(value)));
      }
    }
  });
  if (start_.leftOut.empty()) return;
  section("Left out, as they are set by whatever starts an application:");
  std::string names = "  ";
  for (const std::string& name : start_.leftOut) {
    if (names.size() + name.size() >= longestLine) comment(std::exchange(names, "  "));
    names += concat({names.size() > 2 ? " " : "", printable(name)});
  }
  comment(names);
}

void Writer::writeRest() {
  std::vector<std::string> notes = start_.notes;
  notes.insert(notes.end(), line_.notes.begin(), line_.notes.end());
  if (!notes.empty()) text_ += '\n';
  for (const std::string& note : notes) comment(note);
  if (result_.losses.empty()) return;
  section("NOT CARRIED:");
  for (const std::string& loss : result_.losses) comment("  " + loss);
}

}  // namespace

std::string laterArguments(const std::string& variable) {
  return concat({"# Those that need a file.\n", variable, "_FILE=/dev/null\n",
                 "# kvf: allow not-a-regular-file\n", keys::includePrefix, ".arguments=%", variable,
                 "_FILE%\n"});
}

ImportedFile importedFile(const JavaStart& start, const JavaCommandLine& line,
                          const ImportRequest& request) {
  return Writer(start, line, request).write();
}
