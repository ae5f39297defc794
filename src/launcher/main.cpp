#include "foundation/WException.h"
#include "launcher/wrap.h"
#include "logging/Logging.h"

int main(int argc, char** argv) {
  try {
    return WrapperMain(argc, argv, nullptr, nullptr);
  } catch (const WException& exception) {
    // Without joining the texts: the reason may be that there is no memory.
    Logging::FatalError({exception.getErrorCode().view(), " : ", exception.getRole().view(), " : ",
                         exception.getDescription(false).view()});
  }
}
