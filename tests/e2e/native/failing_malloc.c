/* Preloaded into the launcher, or the program $FAIL_IN: allocation number $FAIL_AT of all its
 * processes together fails, and with $FAIL_ON every later one. The count stands in the file
 * $FAIL_COUNT. */

#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdbool.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* block, size_t size);

static long fail_at;
static bool fail_on;
static long* count;

static bool fails(void) {
  if (count == NULL) return false;
  ++*count;
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
  void* shared = mmap(NULL, sizeof *count, PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
  close(file);
  if (shared != MAP_FAILED) count = shared;
}
