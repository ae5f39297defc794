/* Preloaded into the launcher, or the program $FAIL_IN: allocation number $FAIL_AT of all its
 * processes together fails, and with $FAIL_ON every later one. The file $FAIL_COUNT begins with the
 * count; where it is longer, the place of each allocation follows, one number for its call stack.
 */

#define _GNU_SOURCE
#include <errno.h>
#include <execinfo.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

static long fail_at;
static bool fail_on;
static long* count;
static long room; /* for places */

static void note_place(void) {
  void* calls[256];
  const int depth = backtrace(calls, 256);
  uint64_t place = (uint64_t)depth;
  for (int i = 0; i < depth; ++i) place = (place ^ (uintptr_t)calls[i]) * 1099511628211U;
  count[*count] = (long)place;
}

static bool fails(void) {
  if (count == NULL) return false;
  if (++*count <= room) note_place();
  if (fail_on ? *count < fail_at : *count != fail_at) return false;
  errno = ENOMEM;
  return true;
}

void* malloc(size_t size) {
  return fails() ? NULL : __libc_malloc(size);
}

void* calloc(size_t members, size_t size) {
  return fails() ? NULL : __libc_calloc(members, size);
}

void* realloc(void* block, size_t size) {
  return fails() ? NULL : __libc_realloc(block, size);
}

__attribute__((constructor)) static void start(void) {
  const char* program = getenv("FAIL_IN");
  if (program == NULL) program = "wrapper";
  if (strcmp(program_invocation_short_name, program) != 0) return;
  fail_at = strtol(getenv("FAIL_AT"), NULL, 10);
  fail_on = getenv("FAIL_ON") != NULL;
  const int file = open(getenv("FAIL_COUNT"), O_RDWR | O_CLOEXEC);
  struct stat status = {0};
  fstat(file, &status);
  room = status.st_size / (long)sizeof *count - 1;
  void* first_call;
  if (room > 0) backtrace(&first_call, 1); /* takes memory itself */
  void* shared = mmap(NULL, (size_t)status.st_size, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (shared != MAP_FAILED) count = shared;
}
