#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>

#include <unistd.h>

#include "inspect/Assembler.h"
#include "inspect/Explanation.h"
#include "inspect/Findings.h"

// Checks and explains any bytes as a properties file: whatever it says, and wherever it points, the
// checker comes to an end.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::string path = "/tmp/fuzz_kvf_check." + std::to_string(::getpid()) + ".kvf";
  std::ofstream(path, std::ios::binary | std::ios::trunc)
      .write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  Inspection inspection = inspectFile(path);
  inspection.forScript = true;
  check(inspection, {});
  explainProperties(inspection);
  equivalentJavaCommand(inspection);
  return 0;
}
