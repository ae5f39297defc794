#include "javarun/JavaCmdLineRunUtil.h"

#include <cstdlib>
#include <string_view>

#include "foundation/TextPieces.h"
#include "foundation/WriteSignalGuard.h"
#include "javarun/ClassPath.h"
#include "javarun/JavaParameterParser.h"
#include "logging/Logging.h"
#include "platform/OS_Abstractions.h"
#include "platform/Stream.h"

namespace {

constexpr unsigned short scriptMode = 0755;
constexpr int noStartClass = -1;
constexpr std::string_view extension = ".kvf";

WString quotedIfSpace(const WString& word) {
  return CommonTool::isContainsSpace(word.c_str()) ? "\"" + word + "\"" : word;
}

void reportMissingStartClass() {
  Logging::Info("\nerror,java.start.class not setted in kvf file\n");
}

void show(const char* label, const WString& text) {
  Logging::Info(label);
  Logging::Info(text.c_str());
}

/// The properties file's name between its directory and its ".kvf".
WString scriptNameFor(const WString& kvfFile) {
  if (kvfFile.empty()) return "default_run.script.sh";
  const std::string_view path = kvfFile.view();
  std::string_view name = afterLast(path, path.find('/') == std::string_view::npos ? '\\' : '/');
  // The first ".kvf" counts, so one in the directory part leaves the name whole.
  if (path.find(extension) >= path.size() - name.size())
    name = name.substr(0, name.find(extension));
  return WString(name) + ".script.sh";
}

void writeScript(const WString& environment, const WString& commandLine, const WString& kvfFile) {
  const WString path = WString(sii_GetCurrentDirectory()) + "/" + scriptNameFor(kvfFile);
  Stream file = openStream(path.c_str(), "w");
  if (!file) return show("\nerror,java run script created eror,file name is:", path);
  {
    // A script that is cut short is not reported, but it does not end the process either.
    const WriteSignalGuard guard;
    std::fprintf(file.get(), "#!/bin/sh\n%s\n%s", environment.c_str(), commandLine.c_str());
    file.reset();
  }
  show("\njava run script created, file name is:", path);
  if (sii_chmodFile(path.c_str(), scriptMode) == -1) Logging::Info("error chmod error");
}

}  // namespace

WString getJavaCmd(const javaparser::JavaParameterParser& parser, bool quoteIfSpace) {
  WString command = parser.getJavaPathProperty();
  if (command.empty()) {
    const char* javaHome = std::getenv("JAVA_HOME");
    command = javaHome == nullptr ? WString("java") : WString(javaHome) + "/bin/java";
  }
  return quoteIfSpace ? quotedIfSpace(command) : command;
}

WString getFullStringFromVector(const std::vector<WString>& words) {
  WString text;
  for (const WString& word : words) text += quotedIfSpace(word) + ' ';
  return text;
}

WString getAllVeloxEnvFromVector(const std::vector<WString>& entries) {
  WString text;
  for (const WString& entry : entries) {
    text += entry + "\nexport " + entry.substr(0, entry.find_last_of('=')) + "\n";
  }
  return text;
}

namespace javarunner {

int cmdlineRunJavaProgram(const javaparser::JavaParameterParser& parser) {
  std::vector<WString> words = {getJavaCmd(parser, false)};
  javaparser::appendElementToVector(words, javaparser::getAllJavaRunOption(parser));
  const WString startClass = parser.getStartClassProperty();
  if (startClass.empty()) {
    reportMissingStartClass();
    return noStartClass;
  }
  words.push_back(startClass);
  javaparser::appendElementToVector(words, parser.getJavaArgsProperty());

  std::vector<char*> vector;
  vector.reserve(words.size() + 1);
  for (const WString& word : words) vector.push_back(const_cast<char*>(word.c_str()));
  vector.push_back(nullptr);
  return sii_execute_program_in_new_process(vector.data(), static_cast<int>(words.size()));
}

int generateJavaCmdRunScript(const javaparser::JavaParameterParser& parser) {
  const WString options = getFullStringFromVector(javaparser::getAllJavaRunOption(parser));
  show("\njava run option is:", options);
  const WString startClass = parser.getStartClassProperty();
  if (startClass.empty()) {
    reportMissingStartClass();
    return noStartClass;
  }
  const WString arguments = getFullStringFromVector(parser.getJavaArgsProperty());
  const WString environment = getAllVeloxEnvFromVector(parser.getEnvProperties());
  if (!environment.empty()) show("\n envs set command is:", environment);

  WString commandLine = getJavaCmd(parser, true) + " " + options + " " + startClass;
  if (!arguments.empty()) commandLine += " " + arguments;
  show("\nfull java run cmd is:", commandLine);
  writeScript(environment, commandLine, parser.getKvfFileProperty());
  return 0;
}

}  // namespace javarunner
