#ifndef VELOX_KVF_LAUNCH_SOURCEFILE_H
#define VELOX_KVF_LAUNCH_SOURCEFILE_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// A stretch of a file, or an argument of the command line. Lines and columns count from 1; columns
/// are bytes.
struct Position {
  static constexpr int commandLine = -1;
  /// The first file of the unit that the launch is from; the others are below.
  static constexpr int unit = -2;

  int file = commandLine;   ///< index into AssemblyRun::files
  std::size_t line = 0;     ///< 0 is the file as a whole; of an argument: its index
  std::size_t column = 0;   ///< 0: the line as a whole
  std::size_t endLine = 0;  ///< with a column: of the first byte that does not belong to it
  std::size_t endColumn = 0;

  bool operator==(const Position&) const = default;
};

struct SourceFile {
  std::string name;  ///< as the launcher opens it
  std::string text;
  std::vector<std::size_t> lineStarts;  ///< of the text
  std::optional<Position> includedAt;   ///< absent for the main and the global file
  bool global = false;                  ///< global.kvf, or included by it
  bool unread = false;                  ///< too large, or not readable to its end

  /// The text, with its lines.
  void setText(std::string content);
  [[nodiscard]] std::size_t lineAt(std::size_t offset) const;
  /// The stretch between two offsets, where `file` is the index of this one.
  [[nodiscard]] Position stretch(int file, std::size_t start, std::size_t end) const;
  /// Without its line end. REQUIRES: 1 <= number.
  [[nodiscard]] std::string_view line(std::size_t number) const;
  /// What is written in a line, without the blanks in front, where `file` is the index of this one.
  [[nodiscard]] Position lineStretch(int file, std::size_t number) const;
};

#endif
