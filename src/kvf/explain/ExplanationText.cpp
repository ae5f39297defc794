#include "kvf/explain/ExplanationText.h"

#include <initializer_list>
#include <string_view>

#include "kvf/rules/Keys.h"
#include "kvf/text/Text.h"

namespace {

std::string line(std::initializer_list<std::string_view> pieces) {
  return printable(concat(pieces)) + "\n";
}

std::string headline(std::string_view text) {
  return "\n" + line({text});
}

std::string endsAsText(const std::vector<ExplainedEnd>& ends) {
  std::string text;
  for (const ExplainedEnd& end : ends) {
    text += line({"The launch ends at ", end.place, ": ",
                  end.message.empty() ? end.text : shownWhole(end.message)});
  }
  return text.empty() ? text : text + "\n";
}

std::string usersAsText(const std::vector<std::string>& users) {
  std::string text;
  for (const std::string& place : users) text += line({"      used by ", place});
  return text;
}

std::string propertiesAsText(const std::vector<ExplainedProperty>& properties) {
  std::string text = "Properties\n";
  for (const ExplainedProperty& property : properties) {
    text += line({"  ", property.key, " = ", shownWhole(property.origin.value), "  (",
                  property.origin.place, ")"});
    for (const Source& source : property.overrode) {
      text += line({"      not ", shownWhole(source.value), "  (", source.place, ")"});
    }
    if (findKey(property.key) == nullptr) text += usersAsText(property.users);
  }
  return text;
}

std::string environmentAsText(const std::map<std::string, std::string>& environment) {
  if (environment.empty()) return {};
  std::string text = headline("Exported environment");
  for (const auto& [name, value] : environment) {
    text += line({"  ", name, " = ", shownWhole(value)});
  }
  return text;
}

std::string classPathAsText(const ExplainedClassPath& classPath) {
  std::string text = headline("Class path (" + classPath.origin + ")");
  for (const ExplainedElement& element : classPath.elements) {
    text += line({"  ", shownWhole(element.written)});
    for (const ExplainedElement::Part& part : element.parts) {
      text +=
          line({"      ", part.path, "  ",
                part.isSearched ? "nothing itself: the folder that was searched" : part.brings});
    }
  }
  if (classPath.endsWithDirectory) {
    text += line({"  \"\"  the working directory, as the list ",
                  classPath.elements.empty() ? "is empty" : "ends with \":\""});
  }
  return text;
}

std::string jvmAsText(const ExplainedJvm& jvm) {
  std::string text = headline("JVM library");
  text += line({"  ", shownWhole(jvm.library), "  (", jvm.place, ")"});
  if (!jvm.found) return text + line({"  no JVM of a known version is there"});
  return text +
         line({"  Java ", jvm.found->version.empty() ? "of unknown version" : jvm.found->version,
               ", ", jvm.found->vendor.empty() ? "vendor unknown" : jvm.found->vendor});
}

std::string listAsText(const std::string& title, const std::vector<std::string>& list) {
  if (list.empty()) return {};
  std::string text = headline(title);
  for (const std::string& one : list) text += line({"  ", printableShellWord(one)});
  return text;
}

std::string commandAsText(const ExplainedCommand& command) {
  std::string text = headline("The same with the program java");
  for (const std::string& difference : command.differences) {
    text += line({"  # except that ", difference});
  }
  if (command.printable != command.text) {
    text += line({"  # for bash, ksh and zsh, as $'...' is not known to every sh"});
  }
  return text + line({command.printable});
}

std::string entryAsText(const ExplainedEntry& entry) {
  std::string text = line({"  ", entry.source.place, "  ", shownWhole(entry.written),
                           entry.used ? "" : "  (not used)"});
  for (const ExplainedReference& reference : entry.references) {
    text += line({"      %", reference.name, "% = ", shownWhole(reference.value), "  (",
                  reference.from, ")"});
  }
  return text;
}

std::string keyInfoAsText(const KeyInfo& info) {
  std::string text;
  const auto add = [&](std::string_view label, std::string_view content) {
    if (!content.empty()) text += line({"  ", label, ": ", content});
  };
  add("becomes", info.becomes);
  add("type", info.type);
  add("default", info.fallback);
  add("mind", info.traps);
  return text;
}

}  // namespace

std::string asText(const LaunchExplanation& launch) {
  std::string text =
      endsAsText(launch.ends) + propertiesAsText(launch.properties) +
      headline("Working directory") +
      line({"  ", launch.directory.empty() ? "there is none any more" : launch.directory}) +
      environmentAsText(launch.environment);
  if (launch.classPath) text += classPathAsText(*launch.classPath);
  if (launch.jvm) text += jvmAsText(*launch.jvm);
  text += listAsText("JVM options", launch.options) +
          listAsText("Application arguments", launch.arguments);
  if (launch.command) text += commandAsText(*launch.command);
  return text;
}

std::string asText(const KeyExplanation& explanation) {
  const auto& [key, value, chain, users] = explanation;
  std::string text = line({key, " ", value ? "= " + shownWhole(*value) : "is not set"});
  for (const ExplainedEntry& entry : chain) text += entryAsText(entry);
  text += usersAsText(users);
  if (const KeyInfo* info = findKey(key)) text += keyInfoAsText(*info);
  return text;
}
