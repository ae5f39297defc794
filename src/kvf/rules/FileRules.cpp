#include <filesystem>
#include <string_view>
#include <system_error>

#include <sys/stat.h>

#include "foundation/PropertyKeys.h"
#include "javarun/ArgumentSplitter.h"
#include "kvf/rules/Rules.h"
#include "kvf/text/Text.h"

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

Position wholeFile(std::size_t file) {
  return {static_cast<int>(file), 0};
}

template <class Visit>
void forEachFile(const Inspection& inspection, Visit&& visit) {
  const auto& files = inspection.run().files;
  for (std::size_t i = 0; i < files.size(); ++i) visit(files[i], i);
}

/// The part of a text that the launcher parses.
std::string_view parsedPart(const SourceFile& file) {
  const std::string_view text = file.text;
  return text.substr(0, text.find('\0'));
}

void noSeparator(const Inspection& inspection, const Report& report) {
  for (const Position& at : inspection.run().droppedLines) {
    report(at,
           "no \"=\", \":\" or blank ends the key, so the launcher drops the line without a "
           "word: write key=value, or begin it with # to make it a comment");
  }
}

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(" \t");
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

/// True when blanks around the value make no difference, since its reader splits it at blanks.
bool passesOverBlanks(const Definition& definition) {
  if (definition.key == keys::applicationArgs) {
    const auto argumentsOf = [](std::string_view text) {
      return splitArguments(WString(text), LaunchWay::hostedJava);
    };
    return argumentsOf(definition.value) == argumentsOf(trimmed(definition.value));
  }
  // Other rules know those of the options.
  return definition.key == keys::extendedProperties || definition.key == keys::stopSignals;
}

void blankBeforeValue(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    // The blank ended the key, so that what follows it belongs to the value.
    const std::string_view raw = inspection.rawValueOf(definition);
    const std::size_t start = raw.find_first_not_of(" \t");
    if (start == std::string_view::npos) continue;
    const char first = raw[start];
    const std::string_view written = definition.written;
    const bool afterEquals =
        first == '=' && (written.starts_with(' ') || written.starts_with('\t'));
    const bool afterColon = first == ':' && written.starts_with(':');
    if (!afterColon && (!afterEquals || passesOverBlanks(definition))) continue;
    report(definition.at, concat({"the blank before \"", std::string_view(&first, 1),
                                  "\" ends the key, so that the value is ", shown(written),
                                  afterColon ? " with the colon" : " with a blank in front",
                                  ": write ", definition.key, "=VALUE"}));
  }
}

void trailingBlank(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    const std::string_view written = definition.written;
    const std::size_t end = written.find_last_not_of(" \t");
    if (end == std::string_view::npos || end + 1 == written.size()) continue;
    const std::string_view raw = inspection.rawValueOf(definition);
    if (passesOverBlanks(definition)) continue;
    const std::size_t rawEnd = raw.find_last_not_of(" \t\r");
    // A backslash in front of the blank says that it is meant.
    if (rawEnd != std::string_view::npos && raw[rawEnd] == '\\') continue;
    report(
        definition.at,
        concat(
            {"the value ends with ", countOf(written.size() - end - 1, "blank"),
             R"(, kept as a part of it: remove what is not meant, or write "\ " for one that is)"}));
  }
}

void controlEscape(const Inspection& inspection, const Report& report) {
  for (const Position& at : inspection.run().controlEscapes) {
    report(at,
           "\\t, \\r or \\n makes a tab or a line end here: write \\\\ for a backslash, or / "
           "between folders");
  }
}

void notExported(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    if (definition.endedByLineEnd || definition.variable().empty()) continue;
    report(definition.at, concat({"the last line has no line end, so that the variable is not ",
                                  "exported, only set as a property: end the line"}));
  }
}

void carriageReturn(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    const std::string_view text = parsedPart(file);
    const std::size_t first = text.find('\r');
    if (first == std::string_view::npos) return;
    for (std::size_t at = 0; (at = text.find("\\\r\n", at)) != std::string_view::npos; at += 3) {
      report({static_cast<int>(index), file.lineAt(at)},
             "a backslash before a carriage return and a line feed continues nothing: it drops the "
             "former, and the latter ends the entry; use bare line feeds");
      return;
    }
    report({static_cast<int>(index), file.lineAt(first)},
           "the file has carriage returns: each ends an entry as a line feed does, and a backslash "
           "before one continues nothing; use bare line feeds");
  });
}

void byteOrderMarkRule(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    if (!file.text.starts_with(byteOrderMark)) return;
    report(wholeFile(index),
           "the file begins with a byte order mark, which becomes part of the "
           "first key, or makes an entry of a comment: save it without");
  });
}

void nulByte(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    const std::size_t nul = file.text.find('\0');
    if (nul == std::string::npos) return;
    report({static_cast<int>(index), file.lineAt(nul)},
           "a NUL byte ends the file for the launcher; the rest is not read: remove it");
  });
}

void fileTooLarge(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    std::error_code error;
    if (!file.unread || std::filesystem::is_directory(file.name, error)) return;
    report(file.includedAt.value_or(wholeFile(index)),
           concat({shown(inspection.nameOf(file)),
                   " cannot be read to its end or has 1 MiB or more; the launcher ",
                   "ignores it as a whole, without a word: split it"}));
  });
}

void notRegular(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    struct stat status = {};
    if (::stat(file.name.c_str(), &status) != 0 || S_ISREG(status.st_mode)) return;
    const char* kind = S_ISDIR(status.st_mode)    ? "a folder, which yields no entries"
                       : S_ISFIFO(status.st_mode) ? "a pipe, which can be read once only"
                                                  : "no regular file";
    report(file.includedAt.value_or(wholeFile(index)),
           concat({shown(inspection.nameOf(file)), " is ", kind,
                   ": the launcher may read it twice, use a file"}));
  });
}

constexpr Rule rules[] = {
    {"no-separator", Severity::error, "a line that is dropped, since nothing ends its key",
     R"(An entry needs "=", ":" or a blank behind its key. A line without is dropped silently.)",
     "java.start.class", "java.start.class=com.acme.Main", noSeparator},
    {"blank-before-value", Severity::error, "a value that begins with a blank or a colon",
     "A blank ends the key. In \"key = value\" the \"=\" is then taken off the front of the value, "
     "but the blank behind it stays; in \"key : value\" the colon stays too. "
     "Words between blanks are not hurt by one in front: application.args, "
     "java.extended.properties and application.stop.signals.",
     "java.start.class = com.acme.Main", "java.start.class=com.acme.Main", blankBeforeValue},
    {"trailing-blank", Severity::warning, "a value that ends with blanks",
     "Blanks at the end of a line belong to the value: a file name, a class or a size with one is "
     "another.",
     "java.start.class=com.acme.Main  ",
     R"(Remove the blanks; where one is meant, write it as "\ ".)", trailingBlank},
    {"control-escape", Severity::warning, "an escape that makes a tab or a line end",
     "A backslash takes the next character as it is, but t, r and n become a tab, a carriage "
     "return and a line feed.",
     R"(application.start.dir=C:\temp\new)", R"(application.start.dir=C:\\temp\\new)",
     controlEscape},
    {"not-exported", Severity::error, "a variable in a last line without a line end",
     "The last line sets its property but exports nothing when no line end follows it.",
     "velox.env.MODE=fast (and the end of the file)", "End the line.", notExported},
    {"carriage-return", Severity::warning, "carriage returns",
     "A carriage return ends an entry as a line feed does. A backslash before the pair of both "
     "drops the first only, so that the entry ends there.",
     "A file that was saved on Windows.", "Save the file with bare line feeds.", carriageReturn},
    {"byte-order-mark", Severity::error, "a byte order mark",
     "The three bytes become part of the first key; a comment in the first line becomes an entry.",
     "A file that was saved as \"UTF-8 with BOM\".", "Save it as UTF-8 without.",
     byteOrderMarkRule},
    {"nul-byte", Severity::error, "a NUL byte", "It ends the text: what follows is not read.",
     "A file that was saved as UTF-16.", "Save it as UTF-8.", nulByte},
    {"file-too-large", Severity::error, "a file of 1 MiB or more",
     "Such a file yields no entries at all, and nothing tells it.", "A file of 1048576 bytes.",
     "Split it and include the pieces.", fileTooLarge},
    {"not-a-regular-file", Severity::warning, "a file that is none",
     "A folder yields no entries. A pipe can be read once, but a launch that exports variables, or "
     "that asks for an adjuster, reads its file more than once.",
     "wrapper --propFile /dev/stdin", "Use a file.", notRegular},
};

}  // namespace

std::span<const Rule> fileRules() {
  return rules;
}
