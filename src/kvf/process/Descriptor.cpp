#include "kvf/process/Descriptor.h"

#include <unistd.h>

Descriptor::~Descriptor() {
  if (number_ >= 0) ::close(number_);
}
