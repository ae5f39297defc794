#include "platform/ChildProcess.h"

#include <cerrno>
#include <cstdio>

#include <sys/wait.h>
#include <unistd.h>

pid_t forkFlushed() {
  std::fflush(nullptr);
  return ::fork();
}

int waitForChild(pid_t child) {
  int status = 0;
  while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
  }
  return status;
}
