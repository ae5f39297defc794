#ifndef VELOX_KVF_PROCESS_NEWFILE_H
#define VELOX_KVF_PROCESS_NEWFILE_H

#include <filesystem>
#include <string_view>

#include "kvf/process/Descriptor.h"
#include "kvf/process/Unfinished.h"

/// A new file that is removed again unless it was kept. All of it throws FileError, and
/// Interruption between two pieces of a long text.
class NewFile final : private Unfinished {
 public:
  /// Makes the file, for its owner alone; one that is there is an error.
  explicit NewFile(std::filesystem::path file);
  NewFile(const NewFile&) = delete;
  NewFile& operator=(const NewFile&) = delete;
  ~NewFile() override { takeBack(); }

  [[nodiscard]] int number() const { return descriptor_.number(); }
  void keep() { isToBeRemoved_ = false; }
  void write(std::string_view bytes) const;
  void setMode(unsigned mode) const;
  void sync() const;
  /// Checks that all has been written.
  void close();

 private:
  void takeBack() noexcept override;
  [[noreturn]] void fail(std::string_view action) const;

  std::filesystem::path file_;
  Descriptor descriptor_;
  bool isToBeRemoved_;
};

/// The mode that a program's new files usually have: what the umask leaves of 0666. REQUIRES: no
/// other threads.
unsigned usualFileMode();
/// Makes a new file with exactly this mode, independent of the umask.
void writeNewFile(const std::filesystem::path& file, std::string_view text, unsigned mode);
/// The same from another, regular file.
void copyToNewFile(const std::filesystem::path& source, const std::filesystem::path& file,
                   unsigned mode);

#endif
