#ifndef VELOX_KVF_LAUNCH_INSPECTION_H
#define VELOX_KVF_LAUNCH_INSPECTION_H

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kvf/launch/AssemblyRun.h"
#include "kvf/launch/ClassPathScan.h"
#include "kvf/launch/JvmTrial.h"
#include "kvf/launch/LaunchPlan.h"
#include "kvf/launch/ModulePath.h"
#include "kvf/launch/SourceFile.h"
#include "kvf/launch/Surroundings.h"
#include "kvf/service/ServiceUnit.h"

/// What one command line would make of its properties files, as the launcher's own code tells it,
/// with the position of everything. Nothing here depends on the environment or the working
/// directory any more: both were as the launch would have them while the inspection was made.
class Inspection {
 public:
  AssemblyRun outer;                 ///< as the command line starts it
  std::optional<AssemblyRun> inner;  ///< after it would have started itself again
  LaunchPlan plan;
  std::optional<ClassPathScan> classPath;  ///< of a Java launch
  std::optional<ModulePath> modulePath;    ///< the same, where options are about modules
  std::optional<ClassPathScan> adjuster;   ///< of a launch with an adjuster, and its class
  std::vector<std::string> commandLine;
  /// Where each argument comes from, when it was not typed as it is: a unit, or an argument of a
  /// start script; else empty.
  std::vector<Position> argumentPlaces;
  LaunchSurroundings surroundings;
  std::shared_ptr<const ServiceUnit> unit;  ///< that starts it; null: none
  std::string unitKey;                      ///< the key of the command in the unit
  std::vector<SourceFile> unitFiles;
  std::string programFile;           ///< where the program of the command line was found, if it was
  std::string scriptRefusal;         ///< what the start script says instead of starting this
  std::optional<JvmTrial> jvmTrial;  ///< when it was asked for
  unsigned javaRelease = 0;          ///< the options must fit it, too; 0: that of the JVM alone
  std::string shownFolder;  ///< how files below the absolute folder are named; both may be empty
  std::string absoluteFolder;
  bool hasUnknownTexts = false;  ///< files have entries that only the launch will see
  bool forScript = false;        ///< values must also fit into a generated script
  bool deep = false;             ///< files are compared by their contents, which takes time

  /// The assembly that the application is started from.
  [[nodiscard]] const AssemblyRun& run() const { return inner ? *inner : outer; }
  /// Where the launch would end: of the assembly that the command line starts, or if that has none,
  /// of the second one.
  [[nodiscard]] const std::vector<Failure>& failures() const {
    return outer.failures.empty() ? run().failures : outer.failures;
  }
  /// Those of one stage.
  [[nodiscard]] std::vector<Failure> failures(Failure::Stage stage) const;
  [[nodiscard]] std::optional<std::string> value(const char* key) const;
  /// The value, or an empty text.
  [[nodiscard]] std::string valueOf(const char* key) const { return value(key).value_or(""); }
  /// The entry whose value the key has; null when no file defines it or something overrules it.
  [[nodiscard]] const Entry* entryOf(std::string_view key) const;
  /// True when the key has its value from global.kvf.
  [[nodiscard]] bool isFromGlobalFile(const std::string& key) const;
  /// True when the file of the one place includes that of the other, directly or not.
  [[nodiscard]] bool includes(const Position& including, const Position& included) const;
  /// Where a reader finds an argument of the command line; other positions are as they are.
  [[nodiscard]] Position placeOf(const Position& at) const;
  /// The file of a position that is not the command line.
  [[nodiscard]] const SourceFile& fileOf(const Position& at) const;
  /// The same by its absolute path.
  [[nodiscard]] std::string pathOf(const Position& at) const;
  /// What follows an entry's key up to the line end.
  [[nodiscard]] std::string_view rawValueOf(const Entry& entry) const;
  /// A line of a file of the unit.
  [[nodiscard]] static Position unitPosition(const UnitPlace& at);
  /// Where the key got its value; for one that is not defined, the main file as a whole.
  [[nodiscard]] Position positionOf(std::string_view key) const;
  /// The main file, or the command line when there is none.
  [[nodiscard]] Position mainFile() const;
  /// False when the main file could not be read.
  [[nodiscard]] bool hasMainFile() const;
  /// True when all files were read to their ends, and no text was unknown, so that what was not
  /// found is absent.
  [[nodiscard]] bool knowsAllKeys() const;

  [[nodiscard]] bool isJava() const;
  /// The command as a word: "--run" when there is none. After an unknown switch, which makes the
  /// launcher show its usage, the one that was probably meant.
  [[nodiscard]] std::string command() const;
  /// True for --run. A command that does not exist is wrong by itself, and --run is what was meant.
  [[nodiscard]] bool runsInProcess() const;
  /// True when the command runs a Java application, in this process or by the program java.
  [[nodiscard]] bool startsJvm() const;
  /// True when the command runs the application, or writes a script that does.
  [[nodiscard]] bool startsApplication() const;

  /// A path as the application's launch would open it, absolute.
  [[nodiscard]] std::string atApplication(std::string_view path) const;
  /// The same for what is opened before the working directory changes.
  [[nodiscard]] std::string atLauncher(std::string_view path) const;

  /// The name of a file for a reader.
  [[nodiscard]] std::string nameOf(const SourceFile& file) const;
  /// "FILE:LINE", "FILE" or "command line:ARGUMENT".
  [[nodiscard]] std::string nameOf(const Position& position) const;
};

#endif
