#include "logging/Logging.h"

#include <cstdlib>

#include <fcntl.h>
#include <unistd.h>

WMutex g_loggingMutex(1);

std::FILE* Logging::m_hLogFile = nullptr;
bool Logging::s_DebugFlag = false;
bool Logging::s_SilentFlag = false;
bool Logging::s_IsChildProcess = false;
const char* const Logging::s_szLogFileName = "/tmp/wrap.log";
Logging::Sink* Logging::s_sink = nullptr;

namespace {

/// Every write goes to the end of the file, so that a parent and its child that both hold it never
/// overwrite each other's lines. Null when the file cannot be opened.
std::FILE* openForAppending(const char* path, bool truncate) {
  // The file lies in a directory that everyone may write to: a link there must not lead to another
  // file, nor a pipe stop the start.
  const int flags = O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK |
                    (truncate ? O_TRUNC : 0);
  const int descriptor = ::open(path, flags, 0666);
  if (descriptor < 0) return nullptr;
  std::FILE* stream = ::fdopen(descriptor, "a");
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
  if (m_hLogFile == nullptr) m_hLogFile = openForAppending(s_szLogFileName, !s_IsChildProcess);
  return m_hLogFile;
}

void Logging::Debug(Pieces pieces) {
  if (s_DebugFlag) Info(pieces);
}

void Logging::Info(Pieces pieces) {
  if (s_sink != nullptr) return s_sink->message(pieces);
  if (std::FILE* log = GetHandle()) writeLine(log, pieces);
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
