#include "kvf/package/ApplicationTexts.h"

#include <algorithm>
#include <cctype>

#include "config/PropertiesText.h"
#include "config/VariableSubstitution.h"
#include "foundation/PropertyKeys.h"
#include "kvf/import/ImportedFile.h"
#include "kvf/text/PropertiesSpelling.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view directoryReference = "%kvf.file.dir%/";
constexpr std::string_view forArguments = "_ARGS";
constexpr std::string_view forOptions = "_JVM_OPTIONS";
/// How the start script names the file of the arguments that need one.
constexpr char argumentsFile[] = "/dev/fd/9";
// A value may refer to 100 variables.
constexpr std::size_t elementsOfValue = 90;

constexpr std::string_view script = R"(#!/bin/sh
# Starts @NAME@ from any directory, also by a link to this file. All arguments are the
# application's, and so is the exit status; 64: an argument cannot be handed over.

refuse() {
  printf '%s: %s\n' '@NAME@' "$1" >&2
  exit 64
}

# The dot keeps line ends at the end of a name.
self=$(readlink -f -- "$0" && echo .) || refuse "cannot find out where $0 is"
here=${self%/bin/*}
case $here in
  *:*) refuse "the Java class path cannot hold a folder with a colon in its name: $here" ;;
esac

# The launcher has switches of its own, so the arguments travel as one text of quoted words. Such a
# text cannot hold a double quote (nor @@#@@, which stands for a percent sign there), and the system
# limits it to 128 KiB. From such an argument on they travel one by one, where none may begin with
# two dashes; where one does, in a file. Lengths are those of bytes.
locale=${LC_ALL-}
LC_ALL=C
words= number=0 single= dashes=
for argument do
  shift
  number=$((number + 1))
  if [ -z "$single" ]; then
    longer="$words${words:+ }\"$argument\""
    case $argument in
      *\"* | *@@#@@*) single=$number ;;
      *) [ ${#longer} -le @LIMIT@ ] || single=$number ;;
    esac
    if [ -z "$single" ]; then
      words=$longer
      continue
    fi
  fi
  case $argument in
    --*) dashes=${dashes:-$number} ;;
  esac
  set -- "$@" "$argument"
done

# An entry for each, spelled for a properties file. Nobody else sees the file, and nothing is left of
# it: it has no name any more before there is anything in it.
if [ -n "$dashes" ]; then
  tab=$(printf '\t') return_key=$(printf '\r')
  file=$(mktemp) || refuse "cannot pass on argument $dashes: there is no place for a file"
  exec 8>"$file" 9<"$file"
  rm -f -- "$file"
  number=0
  for argument do
    number=$((number + 1))
    case $argument in
      *%*@@#@@* | *@@#@@*%*)
        refuse "cannot pass on argument $((single + number - 1)): it holds a percent sign and @@#@@"
        ;;
    esac
    printf 'commandline.argv.%s=' "$number" &&
      printf '%s.\n' "$argument" | LC_ALL=C sed -e ':a' -e '$!{' -e N -e ba -e '}' -e 's/\\/\\\\/g' \
        -e 's/%/\\\\%/g' -e "s/$tab/\\\\t/g" -e "s/$return_key/\\\\r/g" -e 's/\n/\\n/g' -e 's/^ /\\ /' \
        -e 's/^=/==/' -e 's/\.$//' ||
      refuse "cannot pass on argument $dashes: the file cannot be written"
  done >&8
  exec 8>&-
  size=$(wc -c </dev/fd/9)
  [ "$size" -lt @FILE_LIMIT@ ] ||
    refuse "cannot pass on argument $dashes: those from $single on are too long"
  set -- --propVar '@VARIABLE@_FILE=/dev/fd/9'
fi
LC_ALL=$locale
[ -n "$locale" ] || unset LC_ALL

exec "$here/bin/wrapper" --run --propFile "$here/@NAME@.kvf" --propVar "@VARIABLE@=$words" "$@"
)";

constexpr std::string_view unit = R"([Unit]
Description=@NAME@
After=network.target

[Service]
# Copy this file to /etc/systemd/system, or: systemctl link FILE. It names the folder as it was
# made; change the paths after a move.
# Where kvf is installed, a mistake in the properties file fails the start, with its line in the
# journal.
ExecStartPre=/bin/sh -c 'if command -v kvf >/dev/null; then exec kvf check --severity=error -- "$$0"; fi' @SCRIPT@
ExecStart=@SCRIPT@
Type=exec
SyslogIdentifier=@NAME@
# A JVM that is ended by SIGTERM, as a stop does, has status 143.
SuccessExitStatus=143
Restart=on-failure
@USER@

# A crash leaves its report in /var/log/@NAME@-crash, and a full heap a copy of it, which holds
# everything the application knew. @NAME@.tmpfiles.conf, copied to /etc/tmpfiles.d, removes both after
# a month.
LogsDirectory=@NAME@-crash
LogsDirectoryMode=0700
Environment="@VARIABLE@=-XX:ErrorFile=%L/@NAME@-crash/hs_err_pid%%p.log -XX:+HeapDumpOnOutOfMemoryError -XX:HeapDumpPath=%L/@NAME@-crash -XX:+ExitOnOutOfMemoryError"

[Install]
WantedBy=multi-user.target
)";

constexpr std::string_view temporaryFiles =
    R"(# What crashes of @NAME@ leave. The unit makes the folder.
e /var/log/@NAME@-crash - - - 30d
)";

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
    text.replace(at, from.size(), to);
}

/// "ACME_ARGS" for the application acme.
std::string variableOf(std::string_view name, std::string_view suffix) {
  std::string variable;
  for (const char c : name) {
    const auto byte = static_cast<unsigned char>(c);
    variable += std::isalnum(byte) != 0 ? static_cast<char>(std::toupper(byte)) : '_';
  }
  return variable.append(suffix);
}

/// The system's limit for one text includes the variable's name and the final NUL.
std::size_t maxBytesOfWords(std::string_view variable) {
  constexpr std::size_t maxTextBytes = 131072;
  return maxTextBytes - variable.size() - 2;
}

std::string textBetween(std::string_view text, std::string_view start, std::string_view end) {
  const std::size_t at = text.find(start);
  if (at == std::string_view::npos) return {};
  text.remove_prefix(at + start.size());
  return std::string(text.substr(0, text.find(end)));
}

/// A path as a value: one below the folder moves with it.
std::string located(const std::string& path) {
  const std::string spelled = spelledPart(path);
  return path.starts_with('/') ? spelled : std::string(directoryReference) + spelled;
}

std::string joinedElements(const std::vector<std::string>& elements) {
  std::string text;
  for (const std::string& element : elements) {
    // A backslash at the end of the line continues the value.
    if (!text.empty()) text += ":\\\n";
    text += element;
  }
  return text;
}

/// The entry for the class path; several entries for more archives than one value may refer to.
std::string classPathEntries(const ApplicationFolder& folder) {
  std::vector<std::vector<std::string>> values(1);
  for (const std::string& archive : folder.archives) {
    if (values.back().size() == elementsOfValue) values.emplace_back();
    values.back().push_back(located("lib/" + archive));
  }
  if (values.size() == 1) return "java.class.path=" + joinedElements(values.front()) + "\n";

  std::string entries;
  std::vector<std::string> references;
  for (const auto& value : values) {
    const std::string key = folder.name + ".class.path." + std::to_string(references.size() + 1);
    entries.append(key).append("=").append(joinedElements(value)).append("\n");
    references.push_back("%" + key + "%");
  }
  return entries + "java.class.path=" + joinedElements(references) + "\n";
}

std::string optionsEntries(const ApplicationFolder& folder) {
  const std::string variable = variableOf(folder.name, forOptions);
  std::string line;
  for (const std::string& option : folder.options) line += option + " ";
  // Between two options an empty variable would leave two blanks.
  return "# Options of the JVM, with one blank between them. The environment may, as in the "
         "unit,\n# replace " +
         variable + ", by at least one option.\n" + variable +
         "=-XX:+ExitOnOutOfMemoryError\njava.extended.properties=" + spelledInPropertiesFile(line) +
         "%" + variable + "%\n";
}

std::string jvmEntries(const ApplicationFolder& folder) {
  std::string text =
      folder.jvmLibrary.starts_with('/')
          ? "# The JVM. `kvf jvm --line" +
                (folder.release > 0 ? " " + std::to_string(folder.release) + ".." : "") +
                "` prints this line for the machine it runs on.\n"
          : "# The JVM that is shipped with the application.\n";
  text += "java.library=" + located(folder.jvmLibrary) + "\n";
  if (!folder.java.empty()) text += "java.path=" + located(folder.java) + "\n";
  return text;
}

}  // namespace

bool isApplicationName(std::string_view name) {
  const auto suits = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_' || c == '-' || c == '.';
  };
  return !name.empty() && name.size() <= 100 && std::all_of(name.begin(), name.end(), suits) &&
         name.front() != '-' && name.front() != '.' && name != "wrapper";
}

std::string argumentsVariable(const ApplicationFolder& folder) {
  return variableOf(folder.name, forArguments);
}

std::string optionsVariable(const ApplicationFolder& folder) {
  return variableOf(folder.name, forOptions);
}

std::string startScript(const ApplicationFolder& folder) {
  const std::string variable = variableOf(folder.name, forArguments);
  std::string text(script);
  replaceAll(text, "@NAME@", folder.name);
  replaceAll(text, "@VARIABLE@", variable);
  replaceAll(text, "@FILE_LIMIT@", std::to_string(propertiesSizeLimit));
  replaceAll(text, "@LIMIT@", std::to_string(maxBytesOfWords(variable)));
  return text;
}

std::optional<HandedOver> handedOver(std::string_view text, const std::string& file,
                                     const std::vector<std::string>& arguments) {
  ApplicationFolder folder;
  folder.name = textBetween(text, "--propFile \"$here/", ".kvf\"");
  if (folder.name.empty() || startScript(folder) != text) return std::nullopt;

  const std::string here = file.substr(0, file.rfind("/bin/"));
  const std::string variable = variableOf(folder.name, forArguments);
  std::string words;
  std::size_t single = 0;
  std::size_t dashes = 0;
  HandedOver result;
  std::vector<std::string> rest;
  for (std::size_t number = 1; number < arguments.size(); ++number) {
    const std::string& argument = arguments[number];
    if (single == 0) {
      const std::string longer = words + (words.empty() ? "\"" : " \"") + argument + "\"";
      const bool fits = argument.find('"') == std::string::npos &&
                        argument.find(percentMarker) == std::string::npos &&
                        longer.size() <= maxBytesOfWords(variable);
      if (fits) {
        words = longer;
        continue;
      }
      single = number;
    }
    if (argument.starts_with("--") && dashes == 0) dashes = number;
    rest.push_back(argument);
    result.typed.push_back(number);
  }
  result.commandLine = {here + "/bin/wrapper", "--run",
                        "--propFile",          here + "/" + folder.name + ".kvf",
                        "--propVar",           variable + "=" + words};
  // The first argument stands for all those in the text.
  constexpr std::size_t fixedArguments = 6;
  result.typed.insert(result.typed.begin(), {0, 0, 0, 0, 0, words.empty() ? 0U : 1U});
  if (dashes == 0) {
    result.commandLine.insert(result.commandLine.end(), rest.begin(), rest.end());
    return result;
  }
  result.typed.resize(fixedArguments);
  result.typed.insert(result.typed.end(), {single, single});
  result.commandLine.insert(result.commandLine.end(),
                            {"--propVar", concat({variable, "_FILE=", argumentsFile})});
  const std::string cannot = concat({"cannot pass on argument "});
  for (std::size_t i = 0; i < rest.size(); ++i) {
    if (cannotBeValue(rest[i]) && result.refusal.empty())
      result.refusal =
          concat({cannot, std::to_string(single + i), ": it holds a percent sign and @@#@@"});
    result.files[argumentsFile] += concat({keys::commandLineArgumentPrefix, std::to_string(i + 1),
                                           "=", spelledInPropertiesFile(rest[i]), "\n"});
  }
  if (result.files[argumentsFile].size() >= propertiesSizeLimit && result.refusal.empty())
    result.refusal = concat({cannot, std::to_string(dashes), ": those from ",
                             std::to_string(single), " on are too long"});
  return result;
}

std::string propertiesFile(const ApplicationFolder& folder) {
  const std::string startClass = spelledInPropertiesFile(folder.startClass);
  const std::string variable = variableOf(folder.name, forArguments);
  return "# How " + folder.name + " is started. `kvf check " + folder.name +
         ".kvf` finds mistakes, `kvf explain " + folder.name +
         ".kvf`\n# shows what a start would use. %kvf.file.dir% is the folder of this file.\n\n" +
         jvmEntries(folder) + "\njava.start.class=" + startClass +
         "\n# What jps shows.\njava.property.sun.java.command=" + startClass +
         "\n\n# In the order of the search. Add archives here, too, when you add them to lib/.\n" +
         classPathEntries(folder) + "\n" + optionsEntries(folder) +
         "#java.heap.size.max=512m\n\n# The arguments, which bin/" + folder.name +
         " passes on; these for a start without it.\n" + variable + "=\napplication.args=%" +
         variable + "%\n" + laterArguments(variable);
}

std::string serviceUnit(const ApplicationFolder& folder, std::string_view directory) {
  std::string path = std::string(directory) + "/bin/" + folder.name;
  replaceAll(path, "\\", "\\\\");
  replaceAll(path, "\"", "\\\"");
  replaceAll(path, "%", "%%");
  replaceAll(path, "\n", "\\n");
  std::string user = folder.user;
  replaceAll(user, "%", "%%");
  std::string text(unit);
  replaceAll(text, "@USER@", user.empty() ? "#User=@NAME@" : "User=" + user);
  replaceAll(text, "@NAME@", folder.name);
  replaceAll(text, "@VARIABLE@", variableOf(folder.name, forOptions));
  replaceAll(text, "@SCRIPT@", "\"" + path + "\"");
  return text;
}

std::string temporaryFilesRule(const ApplicationFolder& folder) {
  std::string text(temporaryFiles);
  replaceAll(text, "@NAME@", folder.name);
  return text;
}
