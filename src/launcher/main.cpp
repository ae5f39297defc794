#include <exception>

#include "foundation/WException.h"
#include "launcher/wrap.h"
#include "logging/Logging.h"

int main(int argc, char** argv) {
  try {
    return WrapperMain(argc, argv, nullptr, nullptr);
  } catch (const WException& exception) {
    Logging::FatalError(exception.toWString().c_str());
  } catch (const std::exception& exception) {
    Logging::FatalError(exception.what());
  }
}
