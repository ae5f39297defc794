#include "launcher/ExceptionEnd.h"

#include <cstdlib>
#include <exception>

#include "logging/Logging.h"

namespace {

std::terminate_handler formerHandler = nullptr;

bool isMemoryExhausted() {
  // Volatile: a compiler may leave out an allocation that nobody uses, and take it to succeed.
  void* volatile probe = std::malloc(1);
  std::free(probe);
  return probe == nullptr;
}

void endProgram() {
  if (!std::current_exception() && isMemoryExhausted()) {
    endWith(WException::getDefaultMemoryException());
  }
  formerHandler();
}

}  // namespace

void endWith(const WException& exception) {
  // Without joining the texts: the reason may be that there is no memory.
  Logging::FatalError({exception.getErrorCode().view(), " : ", exception.getRole().view(), " : ",
                       exception.getDescription(false).view()});
}

MemoryTerminateHandler::MemoryTerminateHandler() {
  formerHandler = std::set_terminate(endProgram);
}

MemoryTerminateHandler::~MemoryTerminateHandler() {
  std::set_terminate(formerHandler);
}
