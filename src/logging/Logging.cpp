#include "logging/Logging.h"

#include <cstdarg>
#include <cstdlib>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "foundation/WriteSignalGuard.h"

WMutex g_loggingMutex(1);

std::FILE* Logging::m_hLogFile = nullptr;
bool Logging::s_DebugFlag = false;
bool Logging::s_SilentFlag = false;
bool Logging::s_IsChildProcess = false;
bool Logging::s_LogRefused = false;
const char* const Logging::s_szLogFileName = "/tmp/wrap.log";
Logging::Sink* Logging::s_sink = nullptr;

namespace {

/// Why the launcher does not write to this file, or the empty text. The log lies in a directory
/// that everyone may write to, so a name there may lead to what belongs to someone else.
std::string_view reasonToRefuse(const struct stat& file) {
  if (S_ISLNK(file.st_mode)) return " is a symbolic link";
  if (!S_ISREG(file.st_mode)) return " is not a regular file";
  if (file.st_uid != ::geteuid()) return " belongs to another user";
  if (file.st_nlink > 1) return " has another link";
  return {};
}

/// The descriptor of the log file, not yet truncated, or -1 with the reason when it is there but
/// not to be used. That it cannot be opened for any other cause, such as a directory in its place,
/// is not reported.
int openLog(const char* path, std::string_view& refusal) {
  // Every write goes to the end of the file, so that a parent and its child that both hold it never
  // overwrite each other's lines. A link is not followed and a pipe does not stop the start.
  const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK;
  const int descriptor = ::open(path, flags, 0666);
  struct stat file = {};
  if (descriptor < 0) {
    const bool isThere = ::lstat(path, &file) == 0;
    if (isThere && !S_ISDIR(file.st_mode) && !S_ISSOCK(file.st_mode))
      refusal = reasonToRefuse(file);
    return -1;
  }
  if (::fstat(descriptor, &file) == 0) refusal = reasonToRefuse(file);
  if (refusal.empty()) return descriptor;
  ::close(descriptor);
  return -1;
}

std::FILE* streamOn(int descriptor, bool truncate) {
  if (descriptor < 0) return nullptr;
  std::FILE* stream = nullptr;
  if (!truncate || ::ftruncate(descriptor, 0) == 0) stream = ::fdopen(descriptor, "a");
  if (stream == nullptr) ::close(descriptor);
  return stream;
}

void writeLine(std::FILE* stream, Logging::Pieces pieces) {
  // One lock for the whole line, so that threads of a hosted application do not mix theirs in.
  ::flockfile(stream);
  for (const std::string_view piece : pieces) std::fwrite(piece.data(), 1, piece.size(), stream);
  std::fputc('\n', stream);
  std::fflush(stream);
  ::funlockfile(stream);
}

}  // namespace

void Logging::SetChildProcessFlag() {
  const ScopedLockGuard guard(g_loggingMutex);
  s_IsChildProcess = true;
}

std::FILE* Logging::GetHandle() {
  const ScopedLockGuard guard(g_loggingMutex);
  if (!s_DebugFlag) return nullptr;
  if (m_hLogFile != nullptr || s_LogRefused) return m_hLogFile;

  std::string_view refusal;
  m_hLogFile = streamOn(openLog(s_szLogFileName, refusal), !s_IsChildProcess);
  s_LogRefused = !refusal.empty();
  if (s_LogRefused) writeLine(stdout, {"No log file: ", s_szLogFileName, refusal});
  return m_hLogFile;
}

void Logging::Debug(Pieces pieces) {
  if (s_DebugFlag) Info(pieces);
}

void Logging::Info(Pieces pieces) {
  if (s_sink != nullptr) return s_sink->message(pieces);
  if (std::FILE* log = GetHandle()) {
    const WriteSignalGuard guard;
    writeLine(log, pieces);
  }
  writeLine(stdout, pieces);
}

void Logging::FatalError(Pieces pieces) {
  if (s_sink != nullptr) s_sink->fatal(pieces);
  Info(pieces);
  std::exit(fatalStatus);
}

void Logging::FlushFiles() {
  if (m_hLogFile == nullptr) return;
  std::fflush(m_hLogFile);
  std::fflush(stdout);
  std::fflush(stderr);
}

void Logging::CloseHandle() {
  if (m_hLogFile == nullptr) return;
  Debug("Closing log file handle and setting it to NULL");
  FlushFiles();
  std::fclose(m_hLogFile);
  m_hLogFile = nullptr;
}

void printConsole(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fflush(stdout);
}
