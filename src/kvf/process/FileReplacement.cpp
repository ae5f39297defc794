#include "kvf/process/FileReplacement.h"

#include <cerrno>
#include <cstdio>

#include <sys/stat.h>
#include <unistd.h>

#include "kvf/process/Descriptor.h"
#include "kvf/process/FileAttributes.h"
#include "kvf/process/FileError.h"
#include "kvf/process/FileMove.h"
#include "kvf/process/FileReading.h"
#include "kvf/process/FileSync.h"
#include "kvf/process/NewFile.h"
#include "kvf/text/Text.h"

namespace fs = std::filesystem;

FileReplacement::FileReplacement(const fs::path& file) : file_(realFile(file)), state_(stateNow()) {
  const Descriptor descriptor = openToRead(file_);
  struct stat status = {};
  if (::fstat(descriptor.number(), &status) != 0) throw FileError("read", file_, errno);
  if (status.st_nlink > 1) {
    throw FileError(concat({file_.native(), " has ", std::to_string(status.st_nlink),
                            " names (hard links), which would become different files: change it "
                            "by hand"}));
  }
  if (const uid_t user = ::geteuid(); user != 0 && user != status.st_uid)
    throw FileError(concat({file_.native(), " belongs to another user: change it as that user"}));
  if (::access(file_.c_str(), W_OK) != 0) throw FileError("write", file_, errno);
  if (::access(file_.parent_path().c_str(), W_OK) != 0)
    throw FileError("write", file_.parent_path(), errno);
  text_ = readWhole(descriptor, file_);
}

void FileReplacement::replace(std::string_view text) const {
  const Descriptor old = openToRead(file_);
  const fs::path beside = nameBeside(file_);
  NewFile made(beside);
  takeAttributes(made.number(), old.number(), file_);
  made.write(text);
  made.sync();
  made.close();
  if (stateNow() != state_)
    throw FileError(concat({file_.native(), " has changed meanwhile: it is left as it is"}));
  if (::rename(beside.c_str(), file_.c_str()) != 0) throw FileError("replace", file_, errno);
  made.keep();
  syncFolder(file_.parent_path());
}

FileReplacement::State FileReplacement::stateNow() const {
  struct stat status = {};
  if (::stat(file_.c_str(), &status) != 0) throw FileError("read", file_, errno);
  return {status.st_dev, status.st_ino, status.st_size, status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}
