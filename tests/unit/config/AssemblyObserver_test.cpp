#include "config/AssemblyObserver.h"

#include <string>

#include <gtest/gtest.h>

#include "config/CommandLine.h"
#include "config/PropertiesFile.h"
#include "config/PropertiesScanner.h"
#include "support/Sandbox.h"

namespace {

/// Writes down what it is told, and refuses the entries of one key.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): it is final
class Recorder final : public AssemblyObserver {
 public:
  void argumentScanned(const ScannedArgument& argument) override {
    const char* name = argument.switchName == nullptr ? "-" : argument.switchName;
    const char* value = argument.value == nullptr ? "none" : argument.value;
    events.push_back(std::to_string(argument.index) + " " + name + " " + value +
                     (argument.valueConsumed ? " consumed" : ""));
  }
  bool fileEntered(const WString& name, std::string_view text) override {
    texts_.emplace_back(text);
    add("enter", name.view().substr(name.find_last_of('/') + 1));
    return true;
  }
  void fileUnread(const WString& name) override {
    add("unread", name.view().substr(name.find_last_of('/') + 1));
  }
  void fileLeft() override {
    texts_.pop_back();
    events.emplace_back("leave");
  }
  void lineDropped(std::size_t offset) override { add("dropped", rest(offset).substr(0, 4)); }
  void controlEscaped(std::size_t offset) override { add("escape", rest(offset).substr(0, 1)); }
  bool entryScanned(const PropertiesEntry& entry) override {
    const auto raw = [&](std::size_t from) { return rest(from).substr(0, entry.endAt - from); };
    add("entry", raw(entry.keyAt));
    events.back() += " value " + std::string(raw(entry.valueAt));
    return !(entry.key == "refused");
  }
  void referenceReplaced(const ReplacedReference& reference) override {
    constexpr const char* sources[] = {"definition", "environment", "entries", "context",
                                       "nothing"};
    add(sources[static_cast<int>(reference.source)], reference.name.view());
    events.back() += " at " + std::to_string(reference.at);
  }
  void includeFound(const WString& /*name*/) override { events.emplace_back("include"); }
  void entryStored(const WString& key, const WString& value) override {
    add("store", (key + "=" + value).view());
  }
  void exportBegins() override { events.emplace_back("export"); }
  void variableExported(std::string_view name, const WString& value) override {
    add(std::string(name).c_str(), value.view());
  }

  Texts events;

 private:
  void add(const char* what, std::string_view text) {
    events.push_back(std::string(what) + " " + std::string(text));
  }
  [[nodiscard]] std::string_view rest(std::size_t offset) const {
    return std::string_view(texts_.back()).substr(offset);
  }

  std::vector<std::string> texts_;
};

Texts eventsOf(const std::string& file, const SimpleProperties& definitions) {
  Recorder recorder;
  ParsePropertiesFile(file.c_str(), {}, definitions, {}, false, recorder);
  return recorder.events;
}

TEST(AssemblyObserver, IsToldOfEntriesAndReferencesInTheOrderOfReading) {
  Sandbox sandbox;
  const std::string part = sandbox.write("part.kvf", "b = %a%%who%\n");
  const std::string file =
      sandbox.write("app.kvf", "# \\t\nword\na=x\\ty\nrefused=1\nvelox.include.kvf=" + part +
                                   "\nc=%gone%%LC_ALL%");
  EXPECT_EQ(
      eventsOf(file, props({{"wrapper.variable.who", "me"}})),
      (Texts{"enter app.kvf", "dropped word", "escape t", "entry a=x\\ty value x\\ty",
             "store a=x\ty", "entry refused=1 value 1",
             "entry velox.include.kvf=" + part + " value " + part, "include", "enter part.kvf",
             "entry b = %a%%who% value = %a%%who%", "context a at 1", "definition who at 4",
             "store b= x\tyme", "leave", "entry c=%gone%%LC_ALL% value %gone%%LC_ALL%",
             "nothing gone at 0", "environment LC_ALL at 0", "store c=C.UTF-8", "leave"}));
}

TEST(AssemblyObserver, IsToldOfBothSubstitutionsOfAnExportedVariable) {
  Sandbox sandbox;
  const std::string file = sandbox.write("app.kvf", "p=1\nvelox.env.V=%p%\\\\%p\\\\%\n");
  EXPECT_EQ(eventsOf(file, {}),
            (Texts{"enter app.kvf", "entry p=1 value 1", "store p=1",
                   "entry velox.env.V=%p%\\\\%p\\\\% value %p%\\\\%p\\\\%", "entries p at 0",
                   "store velox.env.V=1%p%", "export", "entries p at 1", "V 11", "leave"}));
}

TEST(AssemblyObserver, IsToldOfAFileThatYieldsNothing) {
  Sandbox sandbox;
  const std::string large = sandbox.write("large.kvf", std::string(std::size_t{1} << 20U, '#'));
  EXPECT_EQ(eventsOf(large, {}), (Texts{"unread large.kvf"}));
}

TEST(AssemblyObserver, IsToldOfEveryArgument) {
  Texts arguments = {"wrapper", "--propFile", "a.kvf", "--kill", "Abort", "--nope", "--propVar"};
  Recorder recorder;
  scanCommandLine(static_cast<int>(arguments.size()), pointersTo(arguments).data(), recorder);
  EXPECT_EQ(recorder.events, (Texts{"0 - none", "1 --propFile a.kvf consumed", "3 --kill Abort",
                                    "4 - none", "5 - none", "6 --propVar none consumed"}));
}

}  // namespace
