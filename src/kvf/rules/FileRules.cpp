#include <algorithm>
#include <cctype>
#include <filesystem>
#include <set>
#include <string_view>
#include <system_error>
#include <utility>

#include <sys/stat.h>

#include "config/PropertiesScanner.h"
#include "foundation/PropertyKeys.h"
#include "javarun/ArgumentSplitter.h"
#include "kvf/rules/EntryText.h"
#include "kvf/rules/Rule.h"
#include "kvf/text/Text.h"

namespace {

using namespace std::string_view_literals;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

Position wholeFile(std::size_t file) {
  return {static_cast<int>(file), 0};
}

template <class Visit>
void forEachFile(const Inspection& inspection, Visit&& visit) {
  const auto& files = inspection.run().files;
  for (std::size_t i = 0; i < files.size(); ++i) visit(files[i], i);
}

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t");
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

/// A comment after a byte order mark, which does no harm.
bool isMarkedComment(const Inspection& inspection, const Position& at) {
  const std::string_view line = inspection.fileOf(at).line(at.line);
  return line.starts_with(byteOrderMark) &&
         (line.substr(byteOrderMark.size()).starts_with('#') ||
          line.substr(byteOrderMark.size()).starts_with('!') || line == byteOrderMark);
}

/// Options and other kinds of comments, which other rules report.
bool isOfAnotherRule(const Inspection& inspection, const Position& at) {
  const std::string_view line = trimmed(inspection.fileOf(at).line(at.line));
  return line.starts_with('-') || line.starts_with(';') || line.starts_with("//");
}

/// True when the line ends with a backslash that takes the carriage return before the line feed.
bool endsInLostContinuation(const SourceFile& file, std::size_t line) {
  if (line == 0 || line >= file.lineStarts.size()) return false;
  const std::string_view text = file.line(line);
  const std::size_t kept = text.find_last_not_of('\\') + 1;
  return (text.size() - kept) % 2 != 0 && file.text[file.lineStarts[line] - 2] == '\r';
}

void noSeparator(const Inspection& inspection, Report& report) {
  for (const Position& at : inspection.run().droppedLines) {
    if (isMarkedComment(inspection, at) || isOfAnotherRule(inspection, at)) continue;
    // The entry was meant to go on.
    if (endsInLostContinuation(inspection.fileOf(at), at.line - 1)) continue;
    report(at,
           "no \"=\", \":\" or blank ends the key, so the launcher silently drops the line: "
           "write key=value, or begin it with # to make it a comment");
  }
}

/// True when blanks around the value make no difference, since its reader splits it at blanks.
bool ignoresBlanks(const Entry& entry) {
  if (entry.key == keys::applicationArgs) {
    const auto argumentsOf = [](std::string_view text) {
      return splitArguments(WString(text), LaunchWay::hostedJava);
    };
    return argumentsOf(entry.value) == argumentsOf(trimmed(entry.value));
  }
  // Other rules report those in options.
  return entry.key == keys::extendedProperties || entry.key == keys::stopSignals;
}

/// The value without the blanks in front of it, if blanks are all that is odd there.
std::vector<Edit> separatedByEquals(const EntryText& text) {
  const std::string_view raw = text.raw();
  const std::size_t sign = raw.find_first_not_of(" \t");
  const std::size_t value = raw.find_first_not_of(" \t", sign + 1);
  if (value == std::string_view::npos || value == sign + 1) return {};
  if (std::string_view("=:\\").find(raw[value]) != std::string_view::npos) return {};
  return {text.separateBy("=", value)};
}

void blankBeforeValue(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    // The blank ended the key, so that what follows it belongs to the value.
    const std::string_view raw = inspection.rawValueOf(entry);
    const std::size_t start = raw.find_first_not_of(" \t");
    if (start == std::string_view::npos) continue;
    const char first = raw[start];
    const std::string_view written = entry.written;
    const bool afterEquals =
        first == '=' && (written.starts_with(' ') || written.starts_with('\t'));
    const char separator = inspection.fileOf(entry.at).text[entry.rawAt - 1];
    const bool isByBlank = separator == ' ' || separator == '\t';
    const bool afterColon = isByBlank && first == ':' && written.starts_with(':');
    if (!afterColon && (!afterEquals || ignoresBlanks(entry))) continue;
    report(entry.at, concat({"the blank before \"", std::string_view(&first, 1),
                             "\" ends the key, so that the value is ", shown(written),
                             afterColon ? " with the colon" : " with a blank in front", ": write ",
                             entry.key, "=VALUE"}))
        .fix = separatedByEquals({inspection, entry});
  }
}

void trailingBlank(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    const std::string_view written = entry.written;
    const std::size_t end = written.find_last_not_of(" \t");
    if (end == std::string_view::npos || end + 1 == written.size()) continue;
    const EntryText text(inspection, entry);
    const std::string_view raw = text.raw();
    if (ignoresBlanks(entry)) continue;
    const std::size_t rawEnd = raw.find_last_not_of(" \t\r");
    // A backslash in front of the blank says that it is meant.
    if (rawEnd == std::string_view::npos || raw[rawEnd] == '\\') continue;
    const Edit edit = text.replace(rawEnd + 1, raw.size(), "");
    // The blanks are in front of a continuation.
    const bool isBefore = raw[rawEnd] == '\n';
    // A tab from an escape, which is another rule's.
    if (!isBefore && rawEnd + 1 == raw.size()) continue;
    report(
        isBefore ? entry.at : edit.at,
        concat(
            {"the value ends with ", countOf(written.size() - end - 1, "blank"),
             R"(, kept as a part of it: remove what is not meant, or write "\ " for one that is)"}))
        .fix = isBefore ? std::vector<Edit>() : std::vector{edit};
  }
}

void notExported(const Inspection& inspection, Report& report) {
  for (const Entry& entry : inspection.run().entries) {
    if (entry.endedByLineEnd || entry.variable().empty()) continue;
    const EntryText text(inspection, entry);
    Finding& finding =
        report(entry.at, concat({"the last line has no line end, so that the variable is not ",
                                 "exported, only set as a property: end the line"}));
    // A backslash would take it.
    if (!text.raw().ends_with('\\')) finding.fix = {text.insert(text.raw().size(), "\n")};
  }
}

/// "key=value", as a line that was commented out has it, or one that was not meant to be.
bool looksLikeEntry(std::string_view line, std::string_view separators) {
  const std::string_view text = trimmed(line);
  const std::size_t end = text.find_first_of("=: \t");
  return end != std::string_view::npos && end > 0 &&
         separators.find(text[end]) != std::string_view::npos &&
         std::all_of(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(end), [](char c) {
           return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '_';
         });
}

/// Where a line of the file ends in a lost continuation, comments left out.
std::vector<std::size_t> lostContinuations(const Inspection& inspection, int file) {
  std::set<std::size_t> lines;
  for (const Entry& entry : inspection.run().entries)
    if (entry.at.file == file) lines.insert(entry.at.endLine);
  for (const Position& at : inspection.run().droppedLines)
    if (at.file == file) lines.insert(at.line);
  std::vector<std::size_t> lost;
  const SourceFile& source = inspection.run().files[static_cast<std::size_t>(file)];
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(lost),
               [&](std::size_t line) { return endsInLostContinuation(source, line); });
  return lost;
}

/// True when the line appears to be a part of what the one before it begins.
bool looksContinued(std::string_view line) {
  const std::string_view text = trimmed(line);
  return !text.starts_with('#') && !text.starts_with('!') && !looksLikeEntry(text, "=:");
}

/// Continues the lines, if all of them go on with what looks like that.
std::vector<Edit> continuing(const SourceFile& file, int index,
                             const std::vector<std::size_t>& lines) {
  std::vector<Edit> edits;
  std::size_t next = 0;
  for (std::size_t line : lines) {
    // That line may be continued in turn, by one that is nothing by itself.
    for (line = std::max(line, next); endsInLostContinuation(file, line); next = ++line) {
      if (!looksContinued(file.line(line + 1))) return {};
      const std::size_t lineFeed = file.lineStarts[line] - 1;
      edits.push_back({file.stretch(index, lineFeed - 1, lineFeed), ""});
    }
  }
  return edits;
}

void carriageReturn(const Inspection& inspection, Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t number) {
    const int index = static_cast<int>(number);
    const std::vector<std::size_t> lines = lostContinuations(inspection, index);
    if (lines.empty()) return;
    report({index, lines.front()},
           "the backslash at the end of this line continues nothing, since the line ends with a "
           "carriage return and a line feed: save the file with bare line feeds")
        .fix = continuing(file, index, lines);
  });
}

void byteOrderMarkRule(const Inspection& inspection, Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    if (!file.text.starts_with(byteOrderMark)) return;
    // A comment becomes a key that nobody reads, or is dropped.
    const char first = file.text.c_str()[byteOrderMark.size()];
    if (first == '#' || first == '!' || first == '\r' || first == '\n') return;
    report(wholeFile(index),
           "the file begins with a byte order mark, which becomes part of the first key: save it "
           "without one")
        .fix = {{file.stretch(static_cast<int>(index), 0, byteOrderMark.size()), ""}};
  });
}

void nulByte(const Inspection& inspection, Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    const std::size_t nul = file.text.find('\0');
    if (nul == std::string::npos) return;
    report(file.stretch(static_cast<int>(index), nul, nul + 1),
           "a NUL byte ends the file for the launcher; the rest is not read: remove it");
  });
}

void fileTooLarge(const Inspection& inspection, Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    std::error_code error;
    const bool isFolder = std::filesystem::is_directory(inspection.pathOf(wholeFile(index)), error);
    if (!file.unread || isFolder) return;
    report(file.includedAt.value_or(wholeFile(index)),
           concat({shown(inspection.nameOf(file)),
                   " cannot be read to its end or has 1 MiB or more; the launcher ",
                   "silently ignores it as a whole: split it"}));
  });
}

void notRegular(const Inspection& inspection, Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    struct stat status = {};
    if (::stat(inspection.pathOf(wholeFile(index)).c_str(), &status) != 0 ||
        S_ISREG(status.st_mode))
      return;
    const bool isFolder = S_ISDIR(status.st_mode);
    const char* kind = isFolder                   ? "a folder, which yields no entries"
                       : S_ISFIFO(status.st_mode) ? "a pipe, which can only be read once"
                                                  : "not a regular file";
    report(file.includedAt.value_or(wholeFile(index)),
           concat({shown(inspection.nameOf(file)), " is ", kind,
                   ": the launcher may read it twice; use a regular file"}))
        .harmless = !isFolder;
  });
}

/// True when the launcher's reader makes an entry of the text.
bool isEntry(std::string_view text) {
  PropertiesEntry entry;
  return PropertiesScanner(text).next(entry);
}

void continuedComment(const Inspection& inspection, Report& report) {
  std::set<std::pair<int, std::size_t>> continuations;
  for (const Entry& entry : inspection.run().entries) {
    for (std::size_t line = entry.at.line + 1; line <= entry.at.endLine; ++line) {
      continuations.emplace(entry.at.file, line);
    }
  }
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    for (std::size_t number = 1; number < file.lineStarts.size(); ++number) {
      const std::string_view line = file.line(number);
      if (line.find('\0') != std::string_view::npos) return;
      const std::string_view comment = trimmed(line);
      if (!comment.starts_with('#') && !comment.starts_with('!')) continue;
      const std::string_view next = file.line(number + 1);
      const std::string both = concat({line, "\n", next, "\n"});
      const bool takesLineEnd = line.ends_with('\\') && !endsInLostContinuation(file, number);
      const bool hides = takesLineEnd && isEntry(concat({next, "\n"})) && !isEntry(both);
      if (!hides || !looksLikeEntry(next, "=:") || looksLikeEntry(comment.substr(1), "=")) continue;
      const Position at = {static_cast<int>(index), number};
      if (continuations.contains({at.file, at.line})) continue;
      report(at, concat({"the backslash at its end makes the next line part of this comment, so ",
                         "that ", shown(next.substr(0, next.find_first_of("=:"))),
                         " is not set: remove it, or write something after it"}))
          .fix = {{{at.file, number, line.size(), number, line.size() + 1}, ""}};
    }
  });
}

constexpr Rule rules[] = {
    {.id = "no-separator",
     .severity = Severity::error,
     .summary = "a line that is dropped because nothing ends its key",
     .explanation =
         R"(An entry needs "=", ":" or a blank after its key. A line without one is silently dropped.)",
     .example = {.lines = "java.property.verbose"},
     .remedy = {.lines = "java.property.verbose=true"},
     .check = noSeparator},
    {.id = "blank-before-value",
     .severity = Severity::error,
     .summary = "a value that begins with a blank or a colon",
     .explanation = "A blank ends the key. In \"key = value\" the \"=\" is then removed from the "
                    "value, but the blank after it stays; in \"key : value\" the colon stays too. "
                    "A blank in front does no harm where the value is a list of words: "
                    "application.args, java.extended.properties and application.stop.signals.",
     .example = {.lines = "java.property.mode = fast"},
     .remedy = {.lines = "java.property.mode=fast"},
     .check = blankBeforeValue},
    {.id = "trailing-blank",
     .severity = Severity::warning,
     .summary = "a value that ends with blanks",
     .explanation = "Blanks at the end of a line belong to the value: with one, a file name, a "
                    "class or a size is a different one.",
     .example = {.lines = "java.property.data=/srv/acme  "},
     .remedy = {.note = "Remove the blanks; where one is meant, write it as \"\\ \".",
                .lines = "java.property.data=/srv/acme"},
     .check = trailingBlank},
    {.id = "continued-comment",
     .severity = Severity::error,
     .summary = "a comment that ends with a backslash",
     .explanation = "A backslash at the end of a line continues it, even in a comment.",
     .example = {.lines = "# The data is below C:\\acme\\\njava.property.data=x"},
     .remedy = {.lines = "# The data is below C:\\acme\\ here.\njava.property.data=x"},
     .check = continuedComment},
    {.id = "not-exported",
     .severity = Severity::error,
     .summary = "a variable in a last line without a line end",
     .explanation =
         "The last line sets its property but exports nothing when no line end follows it.",
     .example = {.note = "The file ends with this line, without a line end.",
                 .lines = "velox.env.MODE=fast",
                 .openEnd = true},
     .remedy = {.note = "End the line.", .lines = "velox.env.MODE=fast"},
     .check = notExported},
    {.id = "carriage-return",
     .severity = Severity::error,
     .summary = "a continued line that ends with a carriage return",
     .explanation = "A carriage return ends an entry as a line feed does, so that a file saved on "
                    "Windows works. But a backslash before the pair of both drops only the first, "
                    "and the second ends the entry.",
     .example = {.note = "A file that was saved on Windows.",
                 .lines = "java.property.hosts=alpha,\\\r\n  beta"},
     .remedy = {.note = "Save the file with bare line feeds, or do not continue lines.",
                .lines = "java.property.hosts=alpha,\\\n  beta"},
     .check = carriageReturn},
    {.id = "byte-order-mark",
     .severity = Severity::error,
     .summary = "a byte order mark",
     .explanation = "The three bytes become part of the first key, which is then a different key.",
     .example = {.note = "A file that was saved as \"UTF-8 with BOM\".",
                 .lines = "\xEF\xBB\xBFvelox.env.MODE=fast\njava.library=%JAVA_HOME%/lib/server/"
                          "libjvm.so\nvelox.class.path.extended=%kvf.file.dir%/"
                          "lib\njava.start.class=com.acme.Main",
                 .whole = true},
     .remedy = {.note = "Save it as UTF-8 without a BOM, or begin it with a comment.",
                .lines = "velox.env.MODE=fast\njava.library=%JAVA_HOME%/lib/server/"
                         "libjvm.so\nvelox.class.path.extended=%kvf.file.dir%/"
                         "lib\njava.start.class=com.acme.Main",
                .whole = true},
     .check = byteOrderMarkRule},
    {.id = "nul-byte",
     .severity = Severity::error,
     .summary = "a NUL byte",
     .explanation = "It ends the file: what follows is not read.",
     .example = {.note = "A file that was saved as UTF-16.",
                 .lines = "#\n\0java.heap.size.max=64m"sv},
     .remedy = {.note = "Save it as UTF-8.", .lines = "java.heap.size.max=64m"},
     .check = nulByte},
    {.id = "file-too-large",
     .severity = Severity::error,
     .summary = "a file of 1 MiB or more",
     .explanation = "Such a file yields no entries at all, and the launcher does not report it.",
     .example = {.note = "large.kvf has 1048576 bytes.",
                 .lines = "velox.include.kvf=%kvf.file.dir%/large.kvf",
                 .files = {{.path = "large.kvf", .content = "# 16 characters\n", .times = 65536}}},
     .remedy = {.note = "Split it and include the pieces.",
                .lines = "velox.include.kvf=%kvf.file.dir%/half.kvf",
                .files = {{.path = "half.kvf", .content = "# 16 characters\n", .times = 32768}}},
     .check = fileTooLarge},
    {.id = "not-a-regular-file",
     .severity = Severity::error,
     .summary = "a properties file that is not a regular file",
     .explanation = "A folder yields no entries. A pipe can be read only once, but a launch that "
                    "exports variables or uses an adjuster reads its file more than once.",
     .example = {.lines = "velox.include.kvf=/dev/null"},
     .remedy = {.note = "Use a file."},
     .check = notRegular},
};

}  // namespace

std::span<const Rule> fileRules() {
  return rules;
}
