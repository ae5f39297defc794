#include <algorithm>
#include <map>
#include <set>

#include <sys/stat.h>

#include "config/Switches.h"
#include "foundation/PropertyKeys.h"
#include "inspect/Keys.h"
#include "inspect/Rules.h"
#include "inspect/Text.h"

namespace {

/// Looking for the nearest name takes its time; a file full of unknown ones needs none.
constexpr int mostSuggestions = 100;
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

std::set<std::string> referencedNames(const Inspection& inspection) {
  std::set<std::string> names;
  for (const Definition& definition : inspection.run().definitions) {
    for (const Reference& reference : definition.references) names.insert(reference.name);
  }
  return names;
}

void unknownKey(const Inspection& inspection, const Report& report) {
  const std::set<std::string> referenced = referencedNames(inspection);
  const std::vector<std::string_view> candidates = settableKeys();
  int unknown = 0;
  for (const Definition& definition : inspection.run().definitions) {
    const std::string& key = definition.key;
    const bool hasMark = key.starts_with(byteOrderMark);
    if (definition.isInclude || hasMark || key.starts_with("velox.include")) continue;
    if (referenced.contains(key)) continue;
    const KeyInfo* info = findKey(key);
    if (info == nullptr) {
      const bool suggests = ++unknown <= mostSuggestions;
      const std::string_view nearest = suggests ? nearestName(key, candidates) : "";
      report(definition.at,
             concat({"neither the launcher nor a reference reads ", shown(key), didYouMean(nearest),
                     "; it has no effect: remove it, or refer to it"}));
    } else if (info->use == KeyUse::launcher) {
      report(definition.at, concat({"the launcher sets ", shown(key),
                                    " by itself; this value is not used: remove the line"}));
    }
  }
}

void noSeparator(const Inspection& inspection, const Report& report) {
  for (const Position& at : inspection.run().droppedLines) {
    report(at,
           "no \"=\", \":\" or blank ends the key, so the launcher drops the line without a "
           "word: write key=value, or begin it with # to make it a comment");
  }
}

void emptyValue(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    if (!definition.value.empty() || definition.refused) continue;
    const KeyInfo* info = findKey(definition.key);
    if (info == nullptr || info->whenEmpty == nullptr) continue;
    if (!definition.written.empty() || inspection.definitionOf(definition.key) != &definition) {
      continue;
    }
    report(definition.at, concat({"an empty value is not the same as none: it ", info->whenEmpty,
                                  "; remove the line, or give a value"}));
  }
}

void blankBeforeValue(const Inspection& inspection, const Report& report) {
  for (const Definition& definition : inspection.run().definitions) {
    // The blank ended the key, so that what follows it belongs to the value.
    const std::size_t start = definition.raw.find_first_not_of(" \t");
    if (start == std::string::npos) continue;
    const char first = definition.raw[start];
    const std::string_view written = definition.written;
    const bool afterEquals =
        first == '=' && (written.starts_with(' ') || written.starts_with('\t'));
    const bool afterColon = first == ':' && written.starts_with(':');
    if (!afterEquals && !afterColon) continue;
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
    const std::string_view raw = definition.raw;
    const std::size_t rawEnd = raw.find_last_not_of(" \t\r");
    // A backslash in front of the blank says that it is meant.
    if (rawEnd != std::string_view::npos && raw[rawEnd] == '\\') continue;
    report(
        definition.at,
        concat(
            {"the value ends with ", std::to_string(written.size() - end - 1),
             R"( blank(s), which belong to it: remove them, or write "\ " where one is meant)"}));
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
    if (definition.endedByLineEnd || !definition.key.starts_with(keys::environmentPrefix)) continue;
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

void fileTooLarge(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    if (!file.unread) return;
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

void nulByte(const Inspection& inspection, const Report& report) {
  forEachFile(inspection, [&](const SourceFile& file, std::size_t index) {
    const std::size_t nul = file.text.find('\0');
    if (nul == std::string::npos) return;
    report({static_cast<int>(index), file.lineAt(nul)},
           "a NUL byte ends the file for the launcher; the rest is not read: remove it");
  });
}

void shortInclude(const Inspection& inspection, const Report& report) {
  constexpr std::string_view complete = "velox.include.kvf";
  for (const Definition& definition : inspection.run().definitions) {
    if (!definition.key.starts_with("velox.include") || definition.key.starts_with(complete)) {
      continue;
    }
    report(definition.at,
           definition.isInclude
               ? concat({shown(definition.key), " includes the file only because this is the last ",
                         "line and has no line end: write velox.include.kvf"})
               : concat({shown(definition.key),
                         " includes nothing; it is an ordinary key: write velox.include.kvf"}));
  }
}

void failuresAt(const Inspection& inspection, const Report& report, Failure::Stage stage,
                std::string_view advice, bool deep) {
  for (const Failure& failure : inspection.failures()) {
    const bool isDeep = failure.message.find("Failed to open") == std::string::npos;
    if (failure.stage != stage || isDeep != deep) continue;
    report(failure.at,
           concat({"the launch ends here with ", shown(failure.message), ": ", advice}));
  }
}

void missingInclude(const Inspection& inspection, const Report& report) {
  failuresAt(inspection, report, Failure::Stage::include,
             "name a file that is there; a relative path counts from the working directory, "
             "%kvf.file.dir%/ from the main file",
             false);
}

void includeDepth(const Inspection& inspection, const Report& report) {
  failuresAt(inspection, report, Failure::Stage::include, "include fewer files", true);
  if (!inspection.run().tooMuch) return;
  report(
      inspection.mainFile(),
      "the includes bring more than 32 MiB of text, of which the rest was not looked at: include "
      "fewer files");
}

void includeCycle(const Inspection& inspection, const Report& report) {
  for (const Position& at : inspection.run().includeCycles) {
    report(at,
           "this include leads back to a file that is being read, which goes on until the "
           "launch ends: remove it");
  }
}

/// The argument that names the main file; without one, the program.
Position argumentOfMainFile(const Inspection& inspection) {
  Position at = {Position::commandLine, 0};
  const auto& arguments = inspection.outer.arguments;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const char* before = arguments[i - 1].switchName;
    if (before != nullptr && std::string_view(before) == switches::propFile) at.line = i;
  }
  return at;
}

void mainFileMissing(const Inspection& inspection, const Report& report) {
  for (const Failure& failure : inspection.failures()) {
    if (failure.stage != Failure::Stage::mainFile) continue;
    report(argumentOfMainFile(inspection),
           concat({"the launch ends with ", shown(failure.message),
                   ": name the file with --propFile FILE; without, it is the program's name with ",
                   ".kvf in the working directory or along PATH"}));
  }
}

/// The files and lines in which a key is defined, in the order of reading, without global.kvf.
std::map<std::string, std::vector<const Definition*>> definitionsByKey(
    const Inspection& inspection) {
  std::map<std::string, std::vector<const Definition*>> byKey;
  for (const Definition& definition : inspection.run().definitions) {
    if (definition.isInclude || definition.refused || definition.global) continue;
    byKey[definition.key].push_back(&definition);
  }
  return byKey;
}

void duplicateKey(const Inspection& inspection, const Report& report) {
  for (const auto& [key, definitions] : definitionsByKey(inspection)) {
    for (std::size_t i = 1; i < definitions.size(); ++i) {
      const Definition& earlier = *definitions[i - 1];
      const Definition& later = *definitions[i];
      if (earlier.at.file != later.at.file || earlier.at == later.at) continue;
      report(later.at, concat({shown(key), " is defined in line ", std::to_string(earlier.at.line),
                               " already, whose value ", shown(earlier.value),
                               " it replaces: keep one of them"}));
    }
  }
}

void overriddenKey(const Inspection& inspection, const Report& report) {
  for (const auto& [key, definitions] : definitionsByKey(inspection)) {
    for (std::size_t i = 1; i < definitions.size(); ++i) {
      const Definition& earlier = *definitions[i - 1];
      const Definition& later = *definitions[i];
      if (earlier.at.file == later.at.file) continue;
      report(later.at, concat({shown(key), " replaces the value ", shown(earlier.value), " of ",
                               inspection.nameOf(earlier.at),
                               "; if that is meant, say so with # kvf: allow overridden-key"}));
    }
  }
  for (const Definition& definition : inspection.run().definitions) {
    if (!definition.global || definition.isInclude || definition.refused) continue;
    const auto merged = inspection.run().globalKeys.find(definition.key);
    if (merged == inspection.run().globalKeys.end() || merged->second) continue;
    if (inspection.definitionOf(definition.key) == nullptr) continue;
    const bool exported = definition.key.starts_with(keys::environmentPrefix);
    report(definition.at,
           concat({shown(definition.key), " has a value in ",
                   inspection.nameOf(inspection.positionOf(definition.key)),
                   ", so that this one is not used",
                   exported ? " as a property, though the environment does get it" : "",
                   ": remove one of them"}));
  }
}

constexpr Rule rules[] = {
    {"unknown-key", Severity::warning, "a key that nothing reads",
     "The launcher takes any key and says nothing about one that it does not know. A key is known "
     "when the launcher reads it or when a value refers to it as %KEY%.",
     "java.heap.size.maximum=512m", "java.heap.size.max=512m", unknownKey},
    {"no-separator", Severity::error, "a line that is dropped, since nothing ends its key",
     R"(An entry needs "=", ":" or a blank behind its key. A line without is dropped silently.)",
     "java.start.class", "java.start.class=com.acme.Main", noSeparator},
    {"empty-value", Severity::warning, "an empty value where that hides another source",
     "Most keys with an empty value count as set: an empty class path hides CLASSPATH, an empty "
     "heap size gives the bare option -Xmx.",
     "java.heap.size.max=", "Remove the line.", emptyValue},
    {"blank-before-value", Severity::error, "a value that begins with a blank or a colon",
     "A blank ends the key. In \"key = value\" the \"=\" is then taken off the front of the value, "
     "but the blank behind it stays; in \"key : value\" the colon stays too.",
     "java.start.class = com.acme.Main", "java.start.class=com.acme.Main", blankBeforeValue},
    {"trailing-blank", Severity::warning, "a value that ends with blanks",
     "Blanks at the end of a line belong to the value: a file name, a class or a size with one is "
     "another.",
     "java.start.class=com.acme.Main  ",
     R"(Remove the blanks; where one is meant, write it as "\ ".)", trailingBlank},
    {"control-escape", Severity::warning, "an escape that makes a tab or a line end",
     "A backslash takes the next character as it is, but t, r and n become a tab, a carriage "
     "return "
     "and a line feed.",
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
    {"file-too-large", Severity::error, "a file of 1 MiB or more",
     "Such a file yields no entries at all, and nothing tells it.", "A file of 1048576 bytes.",
     "Split it and include the pieces.", fileTooLarge},
    {"not-a-regular-file", Severity::warning, "a file that is none",
     "A folder yields no entries. A pipe can be read once, but a launch that exports variables, or "
     "that asks for an adjuster, reads its file more than once.",
     "wrapper --propFile /dev/stdin", "Use a file.", notRegular},
    {"nul-byte", Severity::error, "a NUL byte", "It ends the text: what follows is not read.",
     "A file that was saved as UTF-16.", "Save it as UTF-8.", nulByte},
    {"short-include", Severity::error, "velox.include where velox.include.kvf is meant",
     "The shorter name includes a file only in a last line without a line end. Anywhere else it is "
     "a key that nothing reads.",
     "velox.include=jvm.kvf", "velox.include.kvf=jvm.kvf", shortInclude},
    {"missing-include", Severity::error, "an include that cannot be opened",
     "The launch ends with \"Failed to open properties file\". A relative path counts from the "
     "working directory, not from the including file.",
     "velox.include.kvf=gone.kvf", "velox.include.kvf=%kvf.file.dir%/jvm.kvf", missingInclude},
    {"include-depth", Severity::error, "includes beyond the launcher's limits",
     "Nesting, the number of files and their size are limited; beyond, the launch ends.",
     "a.kvf includes b.kvf, which includes c.kvf, 1,025 levels deep.", "Include fewer files.",
     includeDepth},
    {"include-cycle", Severity::error, "an include that leads back to its own file",
     "The launcher reads on until its limits end the launch.",
     "velox.include.kvf=app.kvf in app.kvf", "Remove the include.", includeCycle},
    {"missing-file", Severity::error, "a properties file that cannot be opened",
     "Without --propFile the file goes by the program's name, in the working directory and then "
     "along PATH; a file that --propFile names is not searched.",
     "wrapper --propFile gone.kvf", "wrapper --propFile /opt/acme/app.kvf", mainFileMissing},
    {"duplicate-key", Severity::warning, "a key that is defined twice in one file",
     "The later line wins; the earlier one counts for references between the two.",
     "java.heap.size.max=1g\njava.heap.size.max=2g", "Keep one of them.", duplicateKey},
    {"overridden-key", Severity::warning, "a key that is defined in two files",
     "An include stands for its entries at that place: it replaces what was defined before it, and "
     "is replaced by what follows. global.kvf supplies only what is absent or empty. An exported "
     "variable is different: the environment gets the value that was read last, be it of "
     "global.kvf.",
     "java.heap.size.max=1g\nvelox.include.kvf=defaults.kvf",
     "Put includes first, and allow the replacement with a comment: # kvf: allow overridden-key",
     overriddenKey},
};

}  // namespace

std::span<const Rule> fileRules() {
  return rules;
}
