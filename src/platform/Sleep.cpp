#include "platform/Sleep.h"

#include <unistd.h>

void sleepSeconds(unsigned int seconds) {
  while (seconds > 0) seconds = ::sleep(seconds);
}
